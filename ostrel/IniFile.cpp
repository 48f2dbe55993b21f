#include "ostrel/IniFile.h"

// Debian builds the library with a converter and ICU; the text here is UTF-8 throughout and needs
// neither, so the templates are made in this file.
#define SI_NO_CONVERSION
#define SI_IMPLEMENTATION

#include <SimpleIni.h>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <charconv>
#include <cmath>
#include <set>

#include "ostrel/IniText.h"
#include "ostrel/Log.h"

namespace ostrel
{

namespace
{

using Entries = CSimpleIniA::TNamesDepend;

// SimpleIni keeps a comment with the line below it. Comments at the end of a file are kept with
// this section, whose name no file can hold and whose line is taken out of what is written.
constexpr const char *k_end = "\x01";
constexpr std::string_view k_end_line = "[\x01]\n";

Entries InOrder(Entries entries)
{
    entries.sort(CSimpleIniA::Entry::LoadOrder());
    return entries;
}

Entries AllSections(const CSimpleIniA &ini)
{
    Entries entries;
    ini.GetAllSections(entries);
    return InOrder(std::move(entries));
}

Entries AllKeys(const CSimpleIniA &ini, const String &section)
{
    Entries entries;
    ini.GetAllKeys(section.c_str(), entries);
    return InOrder(std::move(entries));
}

bool HasEndComment(const CSimpleIniA &ini)
{
    for (const CSimpleIniA::Entry &section : AllSections(ini))
    {
        if (std::string_view(section.pItem) == k_end)
            return section.pComment != nullptr;
    }
    return false;
}

std::string WithoutEndLine(std::string text)
{
    // Only a line of its own: a value may end as this line does.
    const std::string_view whole = text;
    std::size_t end = 0;
    while ((end = whole.find(k_end_line, end)) != std::string::npos)
    {
        if (end == 0 || whole[end - 1] == '\n')
            return text.erase(end, k_end_line.size());
        ++end;
    }
    return text;
}

// SimpleIni sets two blank lines before a section, and more around comments.
std::string WithSingleBlankLines(std::string text)
{
    while (text.find("\n\n\n") != std::string::npos)
        boost::algorithm::replace_all(text, "\n\n\n", "\n\n");
    return text;
}

// One text to one value; nothing where it does not convert whole.

template <typename Number> std::optional<Number> ConvertNumber(std::string_view text)
{
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);

    Number number{};
    const char *end = text.data() + text.size();
    const auto [read, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || read != end)
        return std::nullopt;
    return number;
}

std::optional<bool> ConvertBool(const std::string &text)
{
    const auto is = [&](const char *word) { return boost::algorithm::iequals(text, word); };
    if (is("yes") || is("true") || is("on") || is("1"))
        return true;
    if (is("no") || is("false") || is("off") || is("0"))
        return false;
    return std::nullopt;
}

template <typename T> std::optional<T> Convert(const String &text)
{
    const std::string_view bare = TrimBlanks(text);
    if constexpr (std::is_same_v<T, bool>)
        return ConvertBool(std::string(bare));
    else
        return ConvertNumber<T>(bare);
}

template <> std::optional<float> Convert(const String &text)
{
    const std::optional<float> number = ConvertNumber<float>(TrimBlanks(text));
    return number && std::isfinite(*number) ? number : std::nullopt;
}

template <> std::optional<String> Convert(const String &text)
{
    return text;
}

} // namespace

const String k_Yes = "Yes";
const String k_No = "No";

struct IniFile::Content
{
    CSimpleIniA ini;
    CSimpleIniA borrowed;
    std::set<String> warned; ///< "[section] key" of values that did not convert.

    Content()
    {
        for (CSimpleIniA *each : {&ini, &borrowed})
        {
            each->SetUnicode();
            each->SetMultiKey(false);
            each->SetMultiLine(false);
            each->SetQuotes(false);
        }
    }

    /// As it stands in a file; null where it is nowhere.
    const char *Written(const String &section, const String &key) const
    {
        const char *written = borrowed.GetValue(section.c_str(), key.c_str());
        return written ? written : ini.GetValue(section.c_str(), key.c_str());
    }

    static std::optional<String> Find(const CSimpleIniA &in, const String &section,
                                      const String &key)
    {
        const char *written = in.GetValue(section.c_str(), key.c_str());
        return written ? std::optional<String>(UnquoteValue(written)) : std::nullopt;
    }

    void Load(std::string_view text);
    static void Take(const IniFile &from, const String &section, CSimpleIniA &into);
    void WarnOnce(const String &section, const String &key, const String &text);
};

void IniFile::Content::Load(std::string_view text)
{
    ini.Reset();
    ini.LoadData(LiftSectionComments(text) + std::string(k_end_line));
    if (!HasEndComment(ini))
        ini.Delete(k_end, nullptr);
}

void IniFile::Content::WarnOnce(const String &section, const String &key, const String &text)
{
    const String name = "[" + section + "] " + key;
    if (warned.insert(name).second)
        LogWarning("option " + name + ": \"" + text + "\" does not convert; the default is used");
}

IniFile::IniFile() : m_content(std::make_unique<Content>()) {}

IniFile::~IniFile() = default;

bool IniFile::Parse(std::string_view text, String *error)
{
    const std::string_view bare = WithoutByteOrderMark(text);
    if (const std::optional<IniError> found = FindIniError(bare))
    {
        *error = "line " + std::to_string(found->line) + ": " + found->reason;
        return false;
    }

    m_content->Load(bare);
    Changed();
    return true;
}

String IniFile::ToText() const
{
    std::string text;
    m_content->ini.Save(text);
    return WithSingleBlankLines(WithoutEndLine(std::move(text)));
}

bool IniFile::HasSection(const String &section) const
{
    return m_content->ini.GetSection(section.c_str()) ||
           m_content->borrowed.GetSection(section.c_str());
}

std::vector<String> IniFile::Sections() const
{
    std::vector<String> names;
    for (const CSimpleIniA::Entry &section : AllSections(m_content->ini))
    {
        if (std::string_view(section.pItem) != k_end)
            names.emplace_back(section.pItem);
    }
    for (const CSimpleIniA::Entry &section : AllSections(m_content->borrowed))
        if (!m_content->ini.GetSection(section.pItem))
            names.emplace_back(section.pItem);
    return names;
}

std::vector<String> IniFile::Keys(const String &section) const
{
    std::vector<String> names;
    for (const CSimpleIniA::Entry &key : AllKeys(m_content->ini, section))
        names.emplace_back(key.pItem);
    for (const CSimpleIniA::Entry &key : AllKeys(m_content->borrowed, section))
        if (!m_content->ini.GetValue(section.c_str(), key.pItem))
            names.emplace_back(key.pItem);
    return names;
}

std::optional<String> IniFile::FindText(const String &section, const String &key) const
{
    std::optional<String> text = FindBorrowedText(section, key);
    return text ? text : FindOwnText(section, key);
}

std::optional<String> IniFile::FindBorrowedText(const String &section, const String &key) const
{
    return Content::Find(m_content->borrowed, section, key);
}

std::optional<String> IniFile::FindOwnText(const String &section, const String &key) const
{
    return Content::Find(m_content->ini, section, key);
}

template <typename T>
T IniFile::GetValue(const String &section, const String &key, T defaultValue) const
{
    const std::optional<String> text = FindText(section, key);
    if (!text)
        return defaultValue;

    std::optional<T> value = Convert<T>(*text);
    if (value)
        return *std::move(value);

    m_content->WarnOnce(section, key, *text);
    return defaultValue;
}

template bool IniFile::GetValue(const String &, const String &, bool) const;
template int IniFile::GetValue(const String &, const String &, int) const;
template unsigned IniFile::GetValue(const String &, const String &, unsigned) const;
template float IniFile::GetValue(const String &, const String &, float) const;
template String IniFile::GetValue(const String &, const String &, String) const;

void IniFile::InsertSection(const String &section)
{
    m_selected.reset();
    if (!IsSectionName(section))
    {
        LogError("options: \"" + section + "\" cannot be the name of a section");
        return;
    }

    m_selected = section;
    if (HasSection(section))
        return;
    m_content->ini.SetValue(section.c_str(), nullptr, nullptr);
    Changed();
}

void IniFile::SetValue(const String &key, const String &value)
{
    if (!m_selected || !IsKeyName(key))
    {
        LogError("options: cannot set \"" + key + "\": it cannot be the name of a key, or its " +
                 "section was refused");
        return;
    }

    const String stored = StorableValue(value);
    if (FindText(*m_selected, key) == stored)
        return;
    m_content->borrowed.Delete(m_selected->c_str(), key.c_str(), true);
    m_content->ini.SetValue(m_selected->c_str(), key.c_str(), QuoteValue(stored).c_str());
    Changed();
}

void IniFile::Content::Take(const IniFile &from, const String &section, CSimpleIniA &into)
{
    into.SetValue(section.c_str(), nullptr, nullptr);
    for (const String &key : from.Keys(section))
        into.SetValue(section.c_str(), key.c_str(), from.m_content->Written(section, key));
}

bool IniFile::CopySection(const IniFile &from, const String &section)
{
    if (!from.HasSection(section))
        return false;
    Content::Take(from, section, m_content->ini);
    Changed();
    return true;
}

bool IniFile::BorrowSection(const IniFile &from, const String &section)
{
    if (!from.HasSection(section))
        return false;
    Content::Take(from, section, m_content->borrowed);
    Changed();
    return true;
}

} // namespace ostrel
