#include "ostrel/IniFile.h"

#include <random>

#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"
#include "tests/support/Printing.h"

using ostrel::IniFile;
using ostrel::String;

namespace
{

void Read(IniFile &ini, std::string_view text)
{
    String error;
    ASSERT_TRUE(ini.Parse(text, &error)) << error;
}

std::string Joined(const std::vector<String> &texts)
{
    std::string joined;
    for (const String &text : texts)
        joined += text + ' ';
    return joined;
}

// A text of up to 20 characters, mostly those that mean something to an ini file.
String RandomText(std::mt19937 &random)
{
    static const char *const k_pieces[] = {" ", "\t", "\"", "'", ";", "#", "=", "[", "]", "\\",
                                           "<", "%",  "a",  "B", "1", ".", "/", "ü", "😀", "\x7F"};
    String text;
    for (unsigned length = random() % 20; length > 0; --length)
        text += k_pieces[random() % std::size(k_pieces)];
    return text;
}

} // namespace

TEST(IniFile, ReadsSectionsAndKeysInTheirOrder)
{
    IniFile ini;
    Read(ini,
         "top = 1\n[Window]\nSortCol = 2\nSortAscending = No\n[Analysis]\nMinSize=500\n[Empty]\n");
    EXPECT_EQ(Joined(ini.Sections()), " Window Analysis Empty ");
    EXPECT_EQ(Joined(ini.Keys("Window")), "SortCol SortAscending ");
    EXPECT_EQ(Joined(ini.Keys("Empty")), "");
    EXPECT_EQ(Joined(ini.Keys("Missing")), "");
    EXPECT_EQ(ini.FindText("", "top"), "1");
    EXPECT_EQ(ini.FindText("Window", "SortCol"), "2");
    EXPECT_EQ(ini.FindText("window", "SORTCOL"), "2");
    EXPECT_EQ(ini.FindText("Window", "Missing"), std::nullopt);
    EXPECT_EQ(ini.FindText("Missing", "SortCol"), std::nullopt);
    EXPECT_TRUE(ini.HasSection("EMPTY"));
    EXPECT_FALSE(ini.HasSection("Missing"));
}

TEST(IniFile, ReadsValuesOfEveryForm)
{
    const struct
    {
        const char *line;
        const char *value;
    } cases[] = {
        {"k=v", "v"},
        {"k = v", "v"},
        {"  k\t=\t v \t", "v"},
        {"k =", ""},
        {"k = \"\"", ""},
        {"k = \" v \"", " v "},
        {"k = \"v\"", "v"},
        {"k = \"", "\""},
        {"k = \"a\";b", "\"a\";b"},
        {"k = a;\"b\"", "a;\"b\""},
        {"k = a ; b", "a ; b"},
        {"k = # a", "# a"},
        {"k = a = b", "a = b"},
        {"k = [a]", "[a]"},
        {"k = <<<END", "<<<END"},
        {"k = C:\\new\\table", "C:\\new\\table"},
        {"k = ü€😀", "ü€😀"},
        {"k = first\nk = second", "second"},
        {"K = first\nk = second", "second"},
        {"k = v\r\n", "v"},
        {"k = v\r", "v"},
        {"\xEF\xBB\xBFk = v", "v"},
    };

    for (const auto &[line, value] : cases)
    {
        IniFile ini;
        Read(ini, line);
        EXPECT_EQ(ini.FindText("", "k"), value) << line;
    }
}

TEST(IniFile, BrokenTextIsRefusedByItsLineAndChangesNothing)
{
    IniFile ini;
    Read(ini, "[a]\nb = c\n");
    String error;
    EXPECT_FALSE(ini.Parse("[x]\ny = z\nnonsense\n", &error));
    EXPECT_EQ(error, "line 3: neither a section nor key = value");
    EXPECT_EQ(ini.ToText(), "[a]\nb = c\n");
}

TEST(IniFile, ParseReplacesEverything)
{
    IniFile ini;
    Read(ini, "; old\n[a]\nb = c\n; end\n");
    Read(ini, "[x]\ny = z\n");
    EXPECT_EQ(ini.ToText(), "[x]\ny = z\n");
    Read(ini, "");
    EXPECT_EQ(ini.ToText(), "");
    EXPECT_TRUE(ini.Sections().empty());
}

TEST(IniFile, WritesBackCommentsOrderAndUnknownKeys)
{
    const struct
    {
        const char *read;
        const char *written;
    } cases[] = {
        {"", ""},
        {"; only a comment\n", "; only a comment\n"},
        {"[b]\nz = 1\ny = 2\n\n[a]\nx = 3\n", "[b]\nz = 1\ny = 2\n\n[a]\nx = 3\n"},
        {"# head\n# more\n\n[a]\nx = 1\n", "# head\n# more\n\n[a]\nx = 1\n"},
        {"[a]\n\n; of x\nx = 1\n", "[a]\n\n; of x\nx = 1\n"},
        {"[a]\nx = 1\n\n; of b\n[b]\ny = 2\n", "[a]\nx = 1\n\n; of b\n[b]\ny = 2\n"},
        {"[z]\n[a] ; behind\nx=1\n", "[z]\n\n; behind\n[a]\nx = 1\n"},
        {"[a]\nx = 1\n\n; the end\n", "[a]\nx = 1\n\n; the end\n"},
        {"[a]\nx = 1\n; the\n\n; end", "[a]\nx = 1\n\n; the\n\n; end\n"},
        {"[a] ; behind\nx=1\n", "; behind\n\n[a]\nx = 1\n"},
        {"[a]\nx = \" 1 \"\ny = \"2\"\n", "[a]\nx = \" 1 \"\ny = \"2\"\n"},
        {"[a]\nx = [\x01]\n; end\n", "[a]\nx = [\x01]\n\n; end\n"},
        {"[a]\nx = 1\n[b]\n[A]\ny = 2\n", "[a]\nx = 1\ny = 2\n\n[b]\n"},
    };

    for (const auto &[read, written] : cases)
    {
        IniFile ini;
        Read(ini, read);
        EXPECT_EQ(ini.ToText(), written) << read;

        Read(ini, ini.ToText());
        EXPECT_EQ(ini.ToText(), written) << "the second time: " << read;
    }
}

TEST(IniFile, NewKeysJoinTheirSectionAndNewSectionsComeLast)
{
    IniFile ini;
    Read(ini, "; head\n\n[a]\nx = 1\n\n; of b\n[b]\ny = 2\n\n; end\n");
    ini.InsertSection("A");
    ini.SetValue("X", "9");
    ini.SetValue("new", "10");
    ini.InsertSection("c");
    ini.SetValue("z", "3");
    EXPECT_EQ(ini.ToText(), "; head\n\n[a]\nx = 9\nnew = 10\n\n; of b\n[b]\ny = 2\n\n; end\n\n"
                            "[c]\nz = 3\n");
    EXPECT_EQ(Joined(ini.Sections()), "a b c ");
}

TEST(IniFile, SetValueGoesToTheSelectedSection)
{
    IniFile ini;
    ini.SetValue("top", "0");
    ini.InsertSection("a");
    ini.SetValue("k", "1");
    ini.InsertSection("b");
    ini.SetValue("k", "2");
    ini.InsertSection("a");
    ini.SetValue("k", "3");
    EXPECT_EQ(ini.ToText(), "top = 0\n\n[a]\nk = 3\n\n[b]\nk = 2\n");
}

TEST(IniFile, NamesThatALineCannotHoldAreRefusedWithAnErrorLine)
{
    const LogCapture log;
    IniFile ini;
    ini.InsertSection("a");
    for (const char *key : {"", "k=1", "[k", ";k", "#k", " k", "k ", "k\nx"})
        ini.SetValue(key, "v");
    EXPECT_EQ(log.Lines().size(), 8u);
    EXPECT_EQ(ini.ToText(), "[a]\n");

    ini.InsertSection("b]");
    ini.SetValue("k", "v");
    EXPECT_EQ(log.Count(ostrel::k_LogError, "\"b]\""), 1);
    EXPECT_EQ(log.Count(ostrel::k_LogError, "cannot set \"k\""), 1);
    EXPECT_EQ(ini.ToText(), "[a]\n");
}

TEST(IniFile, AnyPrintableTextThatIsStoredComesBack)
{
    std::mt19937 random(20261120);
    for (int i = 0; i < 20'000; ++i)
    {
        const String value = RandomText(random);
        IniFile ini;
        ini.InsertSection("s");
        ini.SetValue("k", value);
        ini.SetValue("next", "n");
        ASSERT_EQ(ini.FindText("s", "k"), value);

        IniFile other;
        Read(other, ini.ToText());
        ASSERT_EQ(other.FindText("s", "k"), value) << ini.ToText();
        ASSERT_EQ(other.FindText("s", "next"), "n") << ini.ToText();
    }
}

TEST(IniFile, ConvertsBools)
{
    const struct
    {
        const char *text;
        bool isTrue;
    } cases[] = {
        {"Yes", true}, {"yes", true}, {"TRUE", true},   {"on", true},   {"1", true},
        {"No", false}, {"nO", false}, {"false", false}, {"Off", false}, {"0", false},
    };

    for (const auto &[text, isTrue] : cases)
    {
        IniFile ini;
        ini.SetValue("k", text);
        EXPECT_EQ(ini.GetValue("", "k", !isTrue), isTrue) << text;
    }
    EXPECT_EQ(ostrel::k_Yes, "Yes");
    EXPECT_EQ(ostrel::k_No, "No");
}

TEST(IniFile, ConvertsNumbersThatFitWhole)
{
    const struct
    {
        const char *text;
        int asInt;
        unsigned asUnsigned;
        float asFloat;
    } cases[] = {
        // 7 is the default.
        {"500", 500, 500, 500},
        {"-5", -5, 7, -5},
        {"+5", 5, 5, 5},
        {"007", 7, 7, 7},
        {"\" 12 \"", 12, 12, 12},
        {"12.5", 7, 7, 12.5F},
        {"1e3", 7, 7, 1000},
        {".5", 7, 7, .5F},
        {"2147483647", 2147483647, 2147483647, 2147483648.F},
        {"2147483648", 7, 2147483648U, 2147483648.F},
        {"-2147483648", -2147483647 - 1, 7, -2147483648.F},
        {"-2147483649", 7, 7, -2147483648.F},
        {"4294967295", 7, 4294967295U, 4294967296.F},
        {"4294967296", 7, 7, 4294967296.F},
        {"1e39", 7, 7, 7},
        {"99999999999999999999", 7, 7, 1e20F},
        {"inf", 7, 7, 7},
        {"-infinity", 7, 7, 7},
        {"nan", 7, 7, 7},
        {"", 7, 7, 7},
        {"\" \"", 7, 7, 7},
        {"abc", 7, 7, 7},
        {"12abc", 7, 7, 7},
        {"1 2", 7, 7, 7},
        {"0x10", 7, 7, 7},
        {"12,5", 7, 7, 7},
        {"--5", 7, 7, 7},
        {"+-5", 7, 7, 7},
        {"++5", 7, 7, 7},
        {"-0", 0, 7, 0},
    };

    const LogCapture quiet;
    for (const auto &[text, asInt, asUnsigned, asFloat] : cases)
    {
        IniFile ini;
        Read(ini, std::string("k = ") + text);
        EXPECT_EQ(ini.GetValue("", "k", 7), asInt) << text;
        EXPECT_EQ(ini.GetValue("", "k", 7U), asUnsigned) << text;
        EXPECT_EQ(ini.GetValue("", "k", 7.F), asFloat) << text;
    }
}

TEST(IniFile, GivesTextsAsTheyAreAndTheDefaultForMissingKeys)
{
    const LogCapture log;
    IniFile ini;
    ini.SetValue("k", " text ");
    EXPECT_EQ(ini.GetValue("", "k", String("default")), " text ");
    EXPECT_EQ(ini.GetValue("", "missing", String("default")), "default");
    EXPECT_EQ(ini.GetValue("Missing", "k", 3), 3);
    EXPECT_EQ(ini.GetValue("Missing", "k", true), true);
    EXPECT_TRUE(log.Lines().empty());
}

TEST(IniFile, WarnsOncePerKeyOfTextThatDoesNotConvert)
{
    const LogCapture log;
    IniFile ini;
    Read(ini, "[Analysis]\nMinSize = abc\nRefresh = never\nShowProgress = perhaps\n");
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(ini.GetValue("Analysis", "MinSize", 500U), 500U);
        EXPECT_EQ(ini.GetValue("Analysis", "Refresh", 5000), 5000);
        EXPECT_EQ(ini.GetValue("Analysis", "ShowProgress", true), true);
    }
    EXPECT_EQ(log.Texts(ostrel::k_LogWarning),
              (std::vector<std::string>{
                  "option [Analysis] MinSize: \"abc\" does not convert; the default is used",
                  "option [Analysis] Refresh: \"never\" does not convert; the default is used",
                  "option [Analysis] ShowProgress: \"perhaps\" does not convert; the default is "
                  "used"}));
}

TEST(IniFile, CopySectionTakesItsKeysOverThoseOfTheSameName)
{
    IniFile from;
    Read(from, "[type]\na = 1\nb = \" 2 \"\n[other]\nc = 3\n");
    IniFile to;
    Read(to, "[mine]\nx = 1\n[TYPE]\nB = old\nz = 26\n");

    EXPECT_TRUE(to.CopySection(from, "type"));
    EXPECT_EQ(to.ToText(), "[mine]\nx = 1\n\n[TYPE]\nB = \" 2 \"\nz = 26\na = 1\n");

    const String before = to.ToText();
    EXPECT_FALSE(to.CopySection(from, "missing"));
    EXPECT_EQ(to.ToText(), before);
}

TEST(IniFile, TellsOfEachChangeAndOfNothingElse)
{
    class Counting : public IniFile
    {
    public:
        int changes = 0;

    protected:
        void Changed() override
        {
            ++changes;
        }
    };

    Counting ini;
    Read(ini, "[a]\nk = 1\n");
    EXPECT_EQ(ini.changes, 1);
    ini.InsertSection("a");
    ini.SetValue("k", "1");
    EXPECT_EQ(ini.changes, 1);
    ini.SetValue("k", "2");
    EXPECT_EQ(ini.changes, 2);
    ini.InsertSection("b");
    EXPECT_EQ(ini.changes, 3);
    EXPECT_FALSE(ini.CopySection(IniFile(), "a"));
    EXPECT_EQ(ini.changes, 3);
    EXPECT_TRUE(ini.CopySection(ini, "a"));
    EXPECT_EQ(ini.changes, 4);
}
