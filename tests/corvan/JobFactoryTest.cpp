#include "corvan/JobFactory.h"

#include <gtest/gtest.h>

#include "tests/corvan/SampleType.h"
#include "tests/support/EnvironmentGuard.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"

using namespace corvan;

namespace
{

String TypeFile(const String &id, const String &name)
{
    return "[Type]\nId = " + id + "\nName = " + name + "\n[Render]\n1 = true\n";
}

const char *const k_first = "0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e01";
const char *const k_second = "0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e02";

} // namespace

TEST(JobFactory, ReadsTheTypesOfAFolderAndPassesOverWhatIsWrong)
{
    LogCapture log;
    const TempFolder folder;
    folder.MakeFile("b.ini", TypeFile(k_first, "Beta"));
    folder.MakeFile("a.ini", TypeFile(k_second, "Alpha"));
    folder.MakeFile("broken.ini", "[Type]\n");
    folder.MakeFile("readme.txt", "no type");
    JobFactory factory;
    EXPECT_EQ(factory.LoadTypes(folder.Folder()), 2);
    EXPECT_EQ(factory.ListTypes(), (std::vector<UID>{UID(k_second, true), UID(k_first, true)}));
    EXPECT_EQ(log.Count(ostrel::k_LogError, "broken.ini"), 1);
}

TEST(JobFactory, ReadsNothingFromAFolderThatIsNotThere)
{
    LogCapture log;
    JobFactory factory;
    EXPECT_EQ(factory.LoadTypes("/nowhere/at/all"), 0);
    EXPECT_TRUE(log.Lines().empty());
}

TEST(JobFactory, ReadsTheUsersTypesOverTheInstalledOnes)
{
    const TempFolder folder;
    const EnvironmentGuard share("ORDWICK_SHARE", (folder / "share").Text().c_str());
    const EnvironmentGuard data("XDG_DATA_HOME", (folder / "data").Text().c_str());
    folder.MakeFile("share/jobtypes/a.ini", TypeFile(k_first, "Shipped"));
    folder.MakeFile("data/Corvan/jobtypes/a.ini", TypeFile(k_first, "Own"));
    JobFactory factory;
    EXPECT_EQ(factory.LoadInstalledTypes(), 2);
    ASSERT_EQ(factory.ListTypes().size(), 1u);
    EXPECT_EQ(factory.FindType(UID(k_first, true))->name, "Own");
}

TEST(JobFactory, FindsTypesByIdentifierAndByNameInAnyCase)
{
    JobFactory factory;
    factory.AddType(SampleType());
    EXPECT_EQ(factory.FindType(SampleType().id)->name, "Sample");
    EXPECT_EQ(factory.FindTypeByName("sAMPLE")->name, "Sample");
    EXPECT_EQ(factory.FindTypeByName("Samples"), nullptr);
    EXPECT_EQ(factory.FindType(UID(true)), nullptr);
    factory.Clear();
    EXPECT_TRUE(factory.ListTypes().empty());
}

TEST(JobFactory, RefusesASecondTypeOfTheSameName)
{
    JobFactory factory;
    factory.AddType(SampleType());
    factory.AddType(SampleType());
    JobType other = SampleType();
    other.id = UID(true);
    other.name = "SAMPLE";
    EXPECT_NE(Thrown([&] { factory.AddType(other); }).find("the name \"SAMPLE\" is that of"),
              std::string::npos);
}

TEST(JobFactory, MakesJobsOfTheKindOfTheirType)
{
    JobFactory factory;
    factory.AddType(SampleType());
    JobType plain = SampleType();
    plain.id = UID(true);
    plain.name = "Plain";
    plain.rendersFrames = plain.hasCustomRange = false;
    factory.AddType(plain);

    const auto rendering = factory.CreateJob(SampleType().id);
    EXPECT_NE(boost::dynamic_pointer_cast<RenderJob>(rendering), nullptr);
    EXPECT_TRUE(rendering->ID().IsNil());
    EXPECT_TRUE(rendering->Parameters().empty());
    EXPECT_EQ(boost::dynamic_pointer_cast<RenderJob>(factory.CreateJob(plain.id)), nullptr);

    LogCapture log;
    EXPECT_EQ(factory.CreateJob(UID(k_second, true)), nullptr);
    EXPECT_EQ(log.Count(ostrel::k_LogError, k_second), 1);
}

TEST(JobFactory, ReadsEveryTypeThatShips)
{
    LogCapture log;
    JobFactory factory;
    EXPECT_GE(factory.LoadTypes(ORDWICK_SOURCE "/share/jobtypes"), 3);
    EXPECT_TRUE(log.Texts(ostrel::k_LogError).empty());
    for (const char *name : {"Command", "POV-Ray", "Blender"})
        EXPECT_NE(factory.FindTypeByName(name), nullptr) << name;
}
