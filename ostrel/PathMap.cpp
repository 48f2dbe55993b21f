#include "ostrel/PathMap.h"

#include <algorithm>

#include "ostrel/IniFile.h"

namespace ostrel
{

namespace
{

bool IsSeparator(char character)
{
    return character == '/' || character == '\\';
}

bool IsSame(char a, char b)
{
    return a == b || (IsSeparator(a) && IsSeparator(b));
}

String WithoutEndSeparators(const String &prefix)
{
    String text = prefix;
    while (!text.empty() && IsSeparator(text.back()))
        text.pop_back();
    return text;
}

// Both prefix and path as they stand; the prefix has no separator at its end.
bool FitsWholeComponents(const String &prefix, const String &path)
{
    if (path.size() < prefix.size() ||
        !std::equal(prefix.begin(), prefix.end(), path.begin(), IsSame))
        return false;
    return path.size() == prefix.size() || IsSeparator(path[prefix.size()]);
}

String LocalForm(const String &localPrefix, const String &rest)
{
    String local = WithoutEndSeparators(localPrefix) + rest;
    std::replace(local.end() - std::ptrdiff_t(rest.size()), local.end(), '\\', '/');
    // Only the root itself is left empty by taking its separator away.
    return local.empty() ? localPrefix : local;
}

} // namespace

PathMap::PathMap(const IniFile &options)
{
    for (const String &shared : options.Keys("PathMap"))
        Add(shared, options.FindText("PathMap", shared).value_or(String()));
}

void PathMap::Add(const String &sharedPrefix, const String &localPrefix)
{
    const String shared = WithoutEndSeparators(sharedPrefix);
    if (localPrefix.empty() || sharedPrefix.empty())
        return;

    // Among prefixes of one length the one added last stands first.
    const auto place = std::lower_bound(m_entries.begin(), m_entries.end(), shared,
                                        [](const auto &entry, const String &added)
                                        { return entry.first.size() > added.size(); });
    m_entries.emplace(place, shared, localPrefix);
}

String PathMap::Translate(const String &shared) const
{
    if (shared.empty())
        return shared;

    for (const auto &[sharedPrefix, localPrefix] : m_entries)
    {
        if (FitsWholeComponents(sharedPrefix, shared))
            return LocalForm(localPrefix, String(shared.substr(sharedPrefix.size())));
    }
    return shared;
}

} // namespace ostrel
