#include "check/HashList.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <random>

#include <gtest/gtest.h>

#include "check/CheckException.h"
#include "tests/support/TempFolder.h"

namespace check
{
namespace
{

/// A list with this between the begin and the end of its hashes.
std::string ListWith(const std::string &hashes)
{
    return R"(<?xml version="1.0" encoding="UTF-8"?><hashlist version="2.0" xmlns="urn:ASC:MHL:v2.0">)"
           R"(<creatorinfo><creationdate>2026-11-20T14:03:09Z</creationdate><hostname>h</hostname>)"
           R"(<tool version="1">other</tool></creatorinfo><processinfo><process>in-place</process>)"
           R"(</processinfo><hashes>)" +
           hashes + "</hashes></hashlist>";
}

std::string HashOf(const std::string &path, const std::string &hash)
{
    return "<hash><path>" + path + "</path>" + hash + "</hash>";
}

constexpr const char *k_hash = "<xxh64>0ea03b369a463d9d</xxh64>";

/// Why a text is refused; empty where it is not.
String WhyRefused(const std::string &text)
{
    try
    {
        ParseHashList(text, "l.mhl");
        return {};
    }
    catch (CheckException *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        return error->Text();
    }
}

TEST(HashList, IsReadAsItWasWritten)
{
    HashList list;
    list.tool = k_ListTool;
    list.files["a/f.0001.exr"] = {HashKind::Xxh64,          "0ea03b369a463d9d",     5,
                                  "2026-11-20T14:03:09.5Z", "2026-11-21T00:00:00Z", {}};
    list.files["<&\">'  \xC3\xA4"] = {
        HashKind::Xxh128, "0123456789abcdef0123456789abcdef", 18446744073709551615u, "", "", {}};
    list.files["b"] = {HashKind::Xxh3, "00000000000000ff", std::nullopt, "", "", {}};
    const HashList read = ParseHashList(HashListText(list), "l.mhl");
    EXPECT_EQ(read.tool, "corvan");
    EXPECT_EQ(read.files, list.files);
    EXPECT_TRUE(ParseHashList(HashListText({.tool = k_ListTool, .files = {}}), "l").files.empty());
}

TEST(HashList, IsReadAsOthersWriteIt)
{
    const std::string text = R"(<?xml version="1.0"?>
<!-- made elsewhere -->
<m:hashlist xmlns:m="urn:ASC:MHL:v2.0" xmlns:x="urn:other" version="2.0">
  <m:creatorinfo><m:creationdate>2020-01-17T14:30:00+00:00</m:creationdate>
    <m:hostname>host</m:hostname><m:tool version="0.3">a tool</m:tool>
    <m:author email="a@b.c">A</m:author></m:creatorinfo>
  <m:processinfo><m:process>in-place</m:process>
    <m:roothash><m:content><m:xxh64>8d02114c32e28cbe</m:xxh64></m:content>
      <m:structure><m:xxh64>f557f8ca8e5a88ef</m:xxh64></m:structure></m:roothash>
    <m:ignore><m:pattern>.DS_Store</m:pattern></m:ignore></m:processinfo>
  <m:hashes>
    <m:hash><m:path size="5" creationdate="2020-01-15T13:00:00+01:00">Clips/./A.exr</m:path>
      <m:md5>9eb84090956c484e32cb6c08455a667b</m:md5>
      <m:xxh64 action="verified" hashdate="2020-01-17T14:30:00+00:00">0EA03B369A463D9D</m:xxh64>
      <m:previousPath>Old/A.exr</m:previousPath>
      <m:metadata bar="1"><x:any><x:thing/></x:any></m:metadata></m:hash>
    <m:directoryhash><m:path>Clips</m:path>
      <m:content><m:xxh64>4c226b42e27d7af3</m:xxh64></m:content>
      <m:structure><m:xxh64>906faa843d591a9f</m:xxh64></m:structure></m:directoryhash>
    <m:hash><m:path><![CDATA[a&b]]></m:path><m:xxh64>0ea03b369a463d9d</m:xxh64>
      <m:xxh3>00000000000000aa</m:xxh3></m:hash>
    <m:hash><m:path>&#228;</m:path><m:sha1>00</m:sha1></m:hash>
    <m:hash><m:path>failed</m:path><m:xxh64 action="failed">0ea03b369a463d9d</m:xxh64></m:hash>
  </m:hashes>
  <m:metadata>x</m:metadata>
  <m:references><m:hashlistreference><m:path>../x</m:path><m:c4>c4</m:c4></m:hashlistreference>
  </m:references>
</m:hashlist>)";
    const HashList list = ParseHashList(text, "l.mhl");
    EXPECT_EQ(list.tool, "a tool");
    ASSERT_EQ(list.files.size(), 4u);
    const SealedFile &clip = list.files.at("Clips/A.exr");
    EXPECT_EQ(clip.kind, HashKind::Xxh64);
    EXPECT_EQ(clip.digits, "0ea03b369a463d9d");
    EXPECT_EQ(clip.size, 5u);
    EXPECT_EQ(clip.hashed, "2020-01-17T14:30:00+00:00");
    EXPECT_EQ(list.files.at("a&b").kind, HashKind::Xxh3);
    EXPECT_EQ(list.files.at("\xC3\xA4").trouble,
              "its hash list has its sha1 alone, which is not made here");
    EXPECT_EQ(list.files.at("failed").trouble, "its hash list says that it had changed already");
}

TEST(HashList, IsRefusedWithAReasonWhereItMakesNoSense)
{
    const std::string good = ListWith(HashOf("f", k_hash));
    ASSERT_EQ(WhyRefused(good), "");
    const auto with = [&](const std::string &what, const std::string &instead)
    {
        std::string text = good;
        return text.replace(text.find(what), what.size(), instead);
    };
    const struct
    {
        std::string text;
        const char *why;
    } cases[] = {
        {"", "no whole XML"},
        {"frames", "no whole XML"},
        {"<a/>", "its element is \"a\""},
        {with("\"2.0\"", "\"1.1\""), "of version \"1.1\""},
        {with("urn:ASC:MHL:v2.0", "urn:other"), "its namespace is not"},
        {"<!DOCTYPE hashlist [<!ENTITY a \"b\">]>" + good.substr(good.find("<hashlist")),
         "a DOCTYPE"},
        {ListWith(HashOf("../f", k_hash)), "\"../f\" leads out of its folder"},
        {ListWith(HashOf("a/../../f", k_hash)), "leads out of its folder"},
        {ListWith(HashOf("/etc/passwd", k_hash)), "is not relative"},
        {ListWith(HashOf("", k_hash)), "an empty path"},
        {ListWith("<hash>" + std::string(k_hash) + "</hash>"), "without a path"},
        {ListWith(HashOf("a</path><path>b", k_hash)), "two paths"},
        {ListWith(HashOf("a<b/>", k_hash)), "an element within \"path\""},
        {ListWith(HashOf("f", "<xxh64>0ea03b369a463d9</xxh64>")), "the xxh64 of \"f\""},
        {ListWith(HashOf("f", "<xxh64>0ea03b369a463d9g</xxh64>")), "the xxh64 of \"f\""},
        {ListWith("<hash><path size=\"-1\">f</path>" + std::string(k_hash) + "</hash>"),
         "the size of \"f\" is \"-1\""},
        {ListWith(HashOf("f", k_hash) + HashOf("./f", "<xxh64>0000000000000000</xxh64>")),
         "two different hashes of \"f\""},
    };
    for (const auto &[text, why] : cases)
    {
        EXPECT_NE(WhyRefused(text).find(why), String::npos) << why << ": " << WhyRefused(text);
        EXPECT_NE(WhyRefused(text).find("l.mhl"), String::npos) << why;
    }
}

TEST(HashList, ThatIsCutIsRefusedWhereverItIs)
{
    const std::string whole = ListWith(HashOf("f", k_hash) + HashOf("g", k_hash));
    for (std::size_t bytes = 0; bytes < whole.size(); ++bytes)
        ASSERT_NE(WhyRefused(whole.substr(0, bytes)), "") << bytes;
}

TEST(HashList, OfAnyBytesIsReadOrRefused)
{
    std::mt19937 random(4);
    const std::string whole = ListWith(HashOf("f", k_hash) + HashOf("a/g", k_hash));
    std::size_t refused = 0;
    for (int round = 0; round < 3000; ++round)
    {
        std::string text = whole;
        for (int flips = 1 + int(random() % 4); flips > 0; --flips)
            text[random() % text.size()] = char(random());
        refused += !WhyRefused(text).empty();
    }
    EXPECT_GT(refused, 1000u);
}

TEST(HashList, TakesNoMoreMemoryThanAListOfAMillionFrames)
{
    std::string deep;
    for (int i = 0; i < 1'000'000; ++i)
        deep += "<a>";
    EXPECT_NE(WhyRefused(deep), "") << "deep, and never closed";
    std::string closed = deep;
    for (int i = 0; i < 1'000'000; ++i)
        closed += "</a>";
    EXPECT_NE(WhyRefused(closed).find("its element is \"a\""), String::npos);
    deep += std::string(k_MostListMarks, '<');
    EXPECT_NE(WhyRefused(deep).find("too large"), String::npos);
    // An entity that stands for many others is none.
    const std::string bomb = ListWith(HashOf("&a;&a;", k_hash));
    EXPECT_EQ(ParseHashList(bomb, "l").files.count("&a;&a;"), 1u);
}

TEST(HashList, NamesWhatItCannotHold)
{
    for (const char *name : {"f.exr", "a b", "\xC3\xA4", "<&>"})
        EXPECT_TRUE(CanBeListed(name)) << name;
    for (const char *name : {"a\nb", "\x1b", "\xFF.exr", "a\x7f", "\xEF\xBF\xBF"})
        EXPECT_FALSE(CanBeListed(name)) << name;
}

TEST(HashList, IsRelativeToItsFolderOrToThatOfAllGenerations)
{
    const TempFolder folder;
    const String base = std::filesystem::canonical(folder.Folder().Text().c_str()).string();
    folder.MakeFile("r/ascmhl/0001_r.mhl", "");
    EXPECT_EQ(FolderOf(folder / "r/x.mhl").Text(), base + "/r");
    EXPECT_EQ(FolderOf(folder / "r/ascmhl/0001_r.mhl").Text(), base + "/r");
    EXPECT_EQ(FolderOf(folder / "r/ascmhl/../x.mhl").Text(), base + "/r");
}

TEST(HashList, IsAddedToAndKeepsWhatIsThere)
{
    const TempFolder folder;
    const Path file = folder / "l.mhl";
    const SealedFile one{HashKind::Xxh64, "0000000000000001", 1, "", "", {}};
    const SealedFile two{HashKind::Xxh64, "0000000000000002", 2, "", "", {}};
    AddToHashList(file, {{"a", one}, {"b", one}});
    AddToHashList(file, {{"b", two}, {"c", two}});
    AddToHashList(file, {});
    EXPECT_EQ(ReadHashList(file).files,
              (std::map<String, SealedFile>{{"a", one}, {"b", two}, {"c", two}}));

    // Those of others, and what is none, stay as they are.
    for (const std::string &text : {ListWith(""), std::string("notes")})
    {
        folder.MakeFile("l.mhl", text);
        String why;
        try
        {
            AddToHashList(file, {{"a", one}});
        }
        catch (CheckException *raw)
        {
            const std::unique_ptr<ostrel::Exception> error(raw);
            why = error->Text();
        }
        EXPECT_NE(why.find(file.Text()), String::npos) << why;
        std::ifstream stream(file.Text().c_str());
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), text);
    }
}

} // namespace
} // namespace check
