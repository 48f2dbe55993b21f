// Options files: no text crashes the reader, and what is read can be written and read again.

#include "fuzz/Require.h"
#include "ostrel/IniFile.h"
#include "ostrel/Log.h"

using ostrel::IniFile;
using ostrel::String;

namespace
{

void RequireSame(const IniFile &a, const IniFile &b)
{
    Require(a.Sections() == b.Sections(), "the sections come back in their order");
    for (const String &section : a.Sections())
    {
        Require(a.Keys(section) == b.Keys(section), "the keys come back in their order");
        for (const String &key : a.Keys(section))
            Require(a.FindText(section, key) == b.FindText(section, key), "the values come back");
    }
}

void RequireStored(const String &value)
{
    IniFile ini;
    String error;
    ini.InsertSection("s");
    ini.SetValue("k", value);
    const std::optional<String> stored = ini.FindText("s", "k");

    IniFile again;
    Require(again.Parse(ini.ToText(), &error), "a value that was set can be read");
    Require(again.FindText("s", "k") == stored, "a value that was set comes back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    ostrel::LogStart(
        {.consoleLevel = ostrel::k_LogNone, .fileLevel = ostrel::k_LogNone, .file = {}});

    const String text(reinterpret_cast<const char *>(data), size);
    RequireStored(text);

    IniFile ini;
    String error;
    if (!ini.Parse(text, &error))
    {
        Require(error.starts_with("line "), "an error names its line");
        return 0;
    }

    IniFile again;
    Require(again.Parse(ini.ToText(), &error), "what was written can be read");
    RequireSame(ini, again);

    // The first comment may move off the first section; from then on nothing moves.
    IniFile third;
    Require(third.Parse(again.ToText(), &error), "what was written twice can be read");
    Require(third.ToText() == again.ToText(), "what was written is written the same again");

    for (const String &section : ini.Sections())
    {
        for (const String &key : ini.Keys(section))
        {
            ini.GetValue(section, key, 1);
            ini.GetValue(section, key, 1U);
            ini.GetValue(section, key, 1.F);
            ini.GetValue(section, key, true);
        }
    }
    return 0;
}
