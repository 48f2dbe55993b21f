#include "analysis/FileInfo.h"

#include <gtest/gtest.h>

using namespace analysis;

namespace
{

std::vector<String> PathsInOrder(const _FileInfoList &files)
{
    std::vector<String> names;
    for (const _FileInfo &file : files.get<_FileInfoList::list>())
        names.push_back(file.name.Text());
    return names;
}

} // namespace

TEST(FileInfo, BeginsAsAFileThatWasNotFound)
{
    const _FileInfo file("/r/a.0007.exr", 7);

    EXPECT_EQ(file.name, Path("/r/a.0007.exr"));
    EXPECT_EQ(file.frame, 7);
    EXPECT_EQ(file.size, 0u);
    EXPECT_EQ(file.modified, Time());
    EXPECT_FALSE(file.exists);
}

TEST(FileInfoList, AppendsNewRecordsAsTheLastRowWhateverTheirPath)
{
    _FileInfoList files;
    for (const char *name : {"b", "d", "a", "c", "e"})
        EXPECT_TRUE(files.Append(name, 1));

    EXPECT_EQ(PathsInOrder(files), (std::vector<String>{"b", "d", "a", "c", "e"}));
}

TEST(FileInfoList, RefusesARecordWhosePathIsThere)
{
    _FileInfoList files;
    files.Append("a", 1);
    files.Append("b", 2);

    EXPECT_FALSE(files.Append("a", 3));
    EXPECT_FALSE(files.Append("b", 3));
    EXPECT_EQ(PathsInOrder(files), (std::vector<String>{"a", "b"}));
    EXPECT_EQ(files.get<_FileInfoList::list>()[0].frame, 1);
}

TEST(FileInfoList, RefusesARecordWhosePathIsThereWhenItIsPushedAsARow)
{
    _FileInfoList files;
    files.get<_FileInfoList::list>().push_back(_FileInfo("a", 1));

    EXPECT_FALSE(files.get<_FileInfoList::list>().push_back(_FileInfo("a", 2)).second);
    EXPECT_EQ(files.size(), 1u);
}

TEST(FileInfoList, OrdersThePathViewByBytes)
{
    _FileInfoList files;
    for (const char *name : {"a/2", "B", "a/10", "\xc3\xa4", "a"})
        files.Append(name, 1);

    std::vector<String> names;
    for (const _FileInfo &file : files.get<_FileInfoList::path>())
        names.push_back(file.name.Text());
    EXPECT_EQ(names, (std::vector<String>{"B", "a", "a/10", "a/2", "\xc3\xa4"}));
}

TEST(FileInfoList, FindsTheRowOfAPath)
{
    _FileInfoList files;
    for (int frame = 1; frame <= 200; ++frame)
        files.Append("f" + std::to_string(frame), frame);

    EXPECT_EQ(files.PathToIndex("f1"), 0);
    EXPECT_EQ(files.PathToIndex("f10"), 9);
    EXPECT_EQ(files.PathToIndex("f200"), 199);
}

TEST(FileInfoList, FindsNoRowForAPathThatIsNotThere)
{
    _FileInfoList files;
    EXPECT_EQ(files.PathToIndex("a"), -1);

    files.Append("a", 1);
    EXPECT_EQ(files.PathToIndex("b"), -1);
    EXPECT_EQ(files.PathToIndex(""), -1);
}

TEST(FileInfoList, FindsTheNewRowAfterTheRowsChangedTheirOrder)
{
    _FileInfoList files;
    for (const char *name : {"a", "b", "c"})
        files.Append(name, 1);
    files.get<_FileInfoList::list>().reverse();

    EXPECT_EQ(files.PathToIndex("a"), 2);
    EXPECT_EQ(files.PathToIndex("c"), 0);
}
