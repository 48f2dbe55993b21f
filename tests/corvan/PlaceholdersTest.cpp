#include "corvan/Placeholders.h"

#include <gtest/gtest.h>

#include "corvan/Job.h"
#include "tests/corvan/SampleType.h"
#include "tests/support/Printing.h"

using namespace corvan;

namespace
{

using List = std::vector<String>;

const std::map<String, String> k_values = {
    {"Frame", "7"},
    {"Output", "/a b/x;$(rm).exr"},
    {"Empty", ""},
    {"Lines", "one\ntwo words\r\n\nfour{Frame}\n"},
    {"Arguments", "-f\n{Frame}\n--out={Output}\n{Lines}\r\n<{Lines}>\n{Empty}\n\n{{x}\r"},
    {"Braces", "{Frame}"},
    {"Note", ""},
    {"Name", "two\nlines {Frame}\n"},
};

std::optional<String> FindValue(const String &name)
{
    const auto found = k_values.find(name);
    return found == k_values.end() ? std::nullopt : std::optional(found->second);
}

} // namespace

TEST(Placeholders, AreFilled)
{
    const struct
    {
        List arguments;
        List expanded;
    } cases[] = {
        {{}, {}},
        {{"render", "", "a b"}, {"render", "", "a b"}},
        {{"{Frame}"}, {"7"}},
        {{"+I{Frame}-{Frame}.x"}, {"+I7-7.x"}},
        {{"{Output}"}, {"/a b/x;$(rm).exr"}},
        {{"{{Frame}"}, {"{Frame}"}},
        {{"{{{Frame}}"}, {"{7}"}},
        {{"a}b}}"}, {"a}b}}"}},
        {{"{{"}, {"{"}},
        {{"{Empty}", "x"}, {"x"}},
        {{"<{Empty}>"}, {"<>"}},
        {{"{Lines}"}, {"one", "two words", "", "four{Frame}"}},
        {{"[{Lines}]"}, {"[one\ntwo words\r\n\nfour{Frame}\n]"}},
        {{"{Braces}", "<{Braces}>"}, {"{Frame}", "<{Frame}>"}},
        {{"{Arguments}"},
         {"-f", "7", "--out=/a b/x;$(rm).exr", "one", "two words", "", "four{Frame}",
          "<one\ntwo words\r\n\nfour{Frame}\n>", "", "{x}"}},
        {{"{Note}", "x", "<{Note}>"}, {"", "x", "<>"}},
        {{"{Name}"}, {"two\nlines {Frame}\n"}},
        {{"a{Arguments}"}, {"a" + k_values.at("Arguments")}},
    };
    for (const auto &[arguments, expanded] : cases)
    {
        String reason;
        const auto result = ExpandArguments(arguments, FindValue, &reason);
        ASSERT_TRUE(result) << reason;
        EXPECT_EQ(*result, expanded);
    }
}

TEST(Placeholders, AreRefusedByNameWhereNothingIsKnownOfThem)
{
    const struct
    {
        const char *argument;
        const char *reason;
    } cases[] = {
        {"a{Fame}b", "argument \"a{Fame}b\": nothing is known of {Fame}"},
        {"{frame}", "nothing is known of {frame}"},
        {"{ Frame}", "nothing is known of { Frame}"},
        {"{Frame", "argument \"{Frame\": a brace is not closed"},
        {"{", "a brace is not closed"},
        {"{{{", "a brace is not closed"},
        {"{}", "argument \"{}\": a placeholder has no name"},
    };
    for (const auto &[argument, reason] : cases)
    {
        String given;
        EXPECT_FALSE(ExpandArguments({"fine", argument}, FindValue, &given)) << argument;
        EXPECT_NE(given.find(reason), String::npos) << given;
    }
}

TEST(Placeholders, InTheJobsOwnArgumentsAreRefusedToo)
{
    const FindPlaceholder find = [](const String &name)
    { return name == "Arguments" ? std::optional<String>("ok\n{Nothing}") : std::nullopt; };
    String reason;
    EXPECT_FALSE(ExpandArguments({"{Arguments}"}, find, &reason));
    EXPECT_EQ(reason, "argument \"{Nothing}\": nothing is known of {Nothing}");
}

TEST(Placeholders, DoNotGoRoundInTheJobsOwnArguments)
{
    const FindPlaceholder find = [](const String &name)
    { return name == "Arguments" ? std::optional<String>("a\n{Arguments}\n") : std::nullopt; };
    String reason;
    EXPECT_EQ(ExpandArguments({"{Arguments}"}, find, &reason), (List{"a", "a", "{Arguments}"}));
}

TEST(Placeholders, AreCheckedWithoutValues)
{
    EXPECT_EQ(CheckPlaceholders("a{Anything}{{b"), "");
    EXPECT_NE(CheckPlaceholders("a{Anything"), "");
    EXPECT_NE(CheckPlaceholders("{}"), "");
}

TEST(Placeholders, OfAJobAreWhatIsGivenThenItsIdentifierParametersAndDefaults)
{
    RenderJob job(boost::make_shared<const JobType>(SampleType()));
    job.SetID(UID("11111111-2222-4333-8444-555555555555", true));
    job.SetParameter("Scene", "/s.pov");
    job.SetParameter("Frame", "of the job");
    job.SetParameter("ID", "of the job");
    const FindPlaceholder find = JobPlaceholders(job, {{"Frame", "7"}});
    const struct
    {
        const char *name;
        std::optional<String> value;
    } cases[] = {
        {"Frame", "7"},
        {"ID", "11111111-2222-4333-8444-555555555555"},
        {"Scene", "/s.pov"},
        {"Width", "640"},
        {"CustomRange", ""},
        {"Type", "0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e01"},
        {"Note", ""},
        {"Name", ""},
        {"Arguments", ""},
        {"Range", std::nullopt},
        {"Output", std::nullopt},
    };
    for (const auto &[name, value] : cases)
        EXPECT_EQ(find(name), value) << name;
}
