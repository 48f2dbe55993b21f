#include "corvan/Placeholders.h"

#include <gtest/gtest.h>

#include "corvan/Job.h"
#include "tests/corvan/SampleType.h"
#include "tests/support/Printing.h"

using namespace corvan;

namespace
{

using List = std::vector<String>;

using Kind = PlaceholderValue::Kind;

const char *const k_arguments =
    "-f\n{Frame}\n--out={Output}\n{List}\r\n<{Lines}>\n{Empty}\n\n{{x}\r";

const std::map<String, PlaceholderValue> k_values = {
    {"Frame", {"7", Kind::Number}},
    {"Before", {"-7", Kind::Number}},
    {"Output", {"/a b/x;$(rm).exr", Kind::Path}},
    {"Empty", String()},
    {"Lines", String("one\ntwo words\r\n\nfour{Frame}\n")},
    {"List", PlaceholderValue::List({"one", "two words", "", "four{Frame}"}, Kind::Text)},
    {"Frames", PlaceholderValue::List({"-2", "-1.5"}, Kind::Number)},
    {"Files", PlaceholderValue::List({"/a.1", "-a.2"}, Kind::Path)},
    {"None", PlaceholderValue::List({}, Kind::Path)},
    {"Arguments", String(k_arguments)},
    {"Braces", String("{Frame}")},
    {"Option", String("--python-expr=evil")},
    {"Lone", String("-")},
    {"File", {"--python-expr=evil", Kind::Path}},
    {"Plus", {"+!evil", Kind::Path}},
    {"Near", {"a.blend", Kind::Path}},
    {"Injected", {"a.blend\n--python\n/srv/evil.py", Kind::Path}},
    {"Escape", String("a\x1b[2J")},
    {"Note", String()},
};

std::optional<PlaceholderValue> FindValue(const String &name)
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
        {{"{Empty}", "x"}, {"", "x"}},
        {{"<{Empty}>"}, {"<>"}},
        {{"{List}"}, {"one", "two words", "", "four{Frame}"}},
        {{"[{List}]"}, {"[one\ntwo words\n\nfour{Frame}]"}},
        {{"{None}", "x", "<{None}>"}, {"x", "<>"}},
        {{"[{Lines}]"}, {"[one\ntwo words\r\n\nfour{Frame}\n]"}},
        {{"{Braces}", "<{Braces}>"}, {"{Frame}", "<{Frame}>"}},
        {{"{Arguments}"},
         {"-f", "7", "--out=/a b/x;$(rm).exr", "one", "two words", "", "four{Frame}",
          "<one\ntwo words\r\n\nfour{Frame}\n>", "", "", "{x}"}},
        {{"{Note}", "x", "<{Note}>"}, {"", "x", "<>"}},
        {{"a{Arguments}"}, {String("a") + k_arguments}},
    };
    for (const auto &[arguments, expanded] : cases)
    {
        String reason;
        const auto result = ExpandArguments(arguments, FindValue, &reason);
        ASSERT_TRUE(result) << reason;
        EXPECT_EQ(*result, expanded);
    }
}

TEST(Placeholders, AtTheBeginOfAnArgumentMakeNoOptionOfIt)
{
    const struct
    {
        List arguments;
        List expanded;
    } cases[] = {
        {{"{File}"}, {"./--python-expr=evil"}},
        {{"{Plus}"}, {"./+!evil"}},
        {{"{Near}"}, {"a.blend"}},
        {{"{File}.bak"}, {"./--python-expr=evil.bak"}},
        {{"{Empty}{File}"}, {"./--python-expr=evil"}},
        {{"{Files}"}, {"/a.1", "./-a.2"}},
        {{"+I{File}"}, {"+I--python-expr=evil"}},
        {{"--name={Option}"}, {"--name=--python-expr=evil"}},
        {{"{Before}"}, {"-7"}},
        {{"{Before}-{Frame}"}, {"-7-7"}},
        {{"{Frames}"}, {"-2", "-1.5"}},
    };
    for (const auto &[arguments, expanded] : cases)
    {
        String reason;
        const auto result = ExpandArguments(arguments, FindValue, &reason);
        ASSERT_TRUE(result) << arguments.front() << ": " << reason;
        EXPECT_EQ(*result, expanded);
    }
}

TEST(Placeholders, AreRefusedWhereTheirValueWouldBeMoreThanAValue)
{
    const struct
    {
        const char *argument;
        const char *reason;
    } cases[] = {
        {"{Option}",
         "argument \"{Option}\": the value of {Option} begins with \"-\", as an option does"},
        {"{Lone}", "begins with \"-\""},
        {"{Option}.bak", "begins with \"-\""},
        {"{Empty}{Option}", "begins with \"-\""},
        {"{Lines}", "the value of {Lines} holds a line end or another control character"},
        {"{Injected}", "holds a line end"},
        {"{Escape}", "holds a line end or another control character"},
        {"{Frame}{Escape}", "the value of {Escape} holds"},
    };
    for (const auto &[argument, reason] : cases)
    {
        String given;
        EXPECT_FALSE(ExpandArguments({"fine", argument}, FindValue, &given)) << argument;
        EXPECT_NE(given.find(reason), String::npos) << given;
    }
}

TEST(Placeholders, InTheJobsOwnArgumentsFollowTheSameRules)
{
    const FindPlaceholder find = [](const String &name) -> std::optional<PlaceholderValue>
    { return name == "Arguments" ? String("-x\n{Scene}") : String("--evil"); };
    String reason;
    EXPECT_FALSE(ExpandArguments({"{Arguments}"}, find, &reason));
    EXPECT_NE(reason.find("the value of {Scene} begins with"), String::npos) << reason;
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
    const FindPlaceholder find = [](const String &name) -> std::optional<PlaceholderValue>
    {
        if (name == "Arguments")
            return String("ok\n{Nothing}");
        return std::nullopt;
    };
    String reason;
    EXPECT_FALSE(ExpandArguments({"{Arguments}"}, find, &reason));
    EXPECT_EQ(reason, "argument \"{Nothing}\": nothing is known of {Nothing}");
}

TEST(Placeholders, DoNotGoRoundInTheJobsOwnArguments)
{
    const FindPlaceholder find = [](const String &name) -> std::optional<PlaceholderValue>
    {
        if (name == "Arguments")
            return String("a\n{Arguments}\n");
        return std::nullopt;
    };
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
    JobType type = SampleType();
    type.paths = {{"Scene", {}}};
    RenderJob job(boost::make_shared<const JobType>(type));
    job.SetID(UID("11111111-2222-4333-8444-555555555555", true));
    job.SetParameter("Scene", "/s.pov");
    job.SetParameter("Frame", "of the job");
    job.SetParameter("ID", "of the job");
    job.SetParameter("ImageFormat", "/r/a.%d");
    job.SetParameter("Note", "-n");
    const FindPlaceholder find = JobPlaceholders(job, {{"Frame", {"7", Kind::Number}}});
    const struct
    {
        const char *name;
        PlaceholderValue value;
    } cases[] = {
        {"Frame", {"7", Kind::Number}},
        {"ID", String("11111111-2222-4333-8444-555555555555")},
        {"Scene", {"/s.pov", Kind::Path}},
        {"ImageFormat", {"/r/a.%d", Kind::Path}},
        {"Note", {"-n", Kind::Path}},
        {"Width", String("640")},
        {"CustomRange", String()},
        {"Type", String("0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e01")},
        {"Name", String()},
        {"Arguments", String()},
    };
    for (const auto &[name, value] : cases)
    {
        ASSERT_TRUE(find(name)) << name;
        EXPECT_EQ(*find(name), value) << name;
    }
    for (const char *name : {"Range", "Output", "frame"})
        EXPECT_FALSE(find(name)) << name;
}
