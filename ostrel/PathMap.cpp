#include "ostrel/PathMap.h"

#include <algorithm>
#include <boost/algorithm/string/replace.hpp>

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
bool FitsShared(const String &prefix, const String &path)
{
    if (path.size() < prefix.size() ||
        !std::equal(prefix.begin(), prefix.end(), path.begin(), IsSame))
        return false;
    return path.size() == prefix.size() || IsSeparator(path[prefix.size()]);
}

bool FitsLocal(const String &prefix, const String &path)
{
    return path.starts_with(prefix) && (path.size() == prefix.size() || path[prefix.size()] == '/');
}

String LocalForm(const String &localPrefix, const String &rest)
{
    String local = WithoutEndSeparators(localPrefix) + rest;
    std::replace(local.end() - std::ptrdiff_t(rest.size()), local.end(), '\\', '/');
    // Only the root itself is left empty by taking its separator away.
    return local.empty() ? localPrefix : local;
}

String SharedForm(const String &sharedPrefix, const String &rest)
{
    // With "/", as "\" means something of its own in many a text that holds a path.
    String shared = sharedPrefix;
    std::replace(shared.begin(), shared.end(), '\\', '/');
    shared += rest;
    return shared.empty() ? String("/") : shared;
}

} // namespace

PathMap::PathMap(const IniFile &options)
{
    for (const String &shared : options.Keys("PathMap"))
        Add(shared, options.FindText("PathMap", shared).value_or(String()));
}

void PathMap::Add(const String &sharedPrefix, const String &localPrefix)
{
    if (!localPrefix.empty() && !sharedPrefix.empty())
        m_entries.push_back({WithoutEndSeparators(sharedPrefix), localPrefix});
}

String PathMap::Translate(const String &shared) const
{
    if (shared.empty())
        return shared;

    // Among prefixes of one length the one added last.
    const Entry *longest = nullptr;
    for (const Entry &entry : m_entries)
        if (FitsShared(entry.shared, shared) &&
            (!longest || entry.shared.size() >= longest->shared.size()))
            longest = &entry;
    return longest ? LocalForm(longest->local, shared.substr(longest->shared.size())) : shared;
}

String PathMap::TranslateBack(const String &local) const
{
    if (local.empty())
        return local;

    const Entry *longest = nullptr;
    std::size_t length = 0;
    for (const Entry &entry : m_entries)
    {
        const String prefix = WithoutEndSeparators(entry.local);
        if (FitsLocal(prefix, local) && (!longest || prefix.size() > length))
        {
            longest = &entry;
            length = prefix.size();
        }
    }
    return longest ? SharedForm(longest->shared, local.substr(length)) : local;
}

PathMap PathMap::ForPatterns() const
{
    PathMap doubled = *this;
    for (Entry &entry : doubled.m_entries)
    {
        boost::algorithm::replace_all(entry.shared, "%", "%%");
        boost::algorithm::replace_all(entry.local, "%", "%%");
    }
    return doubled;
}

} // namespace ostrel
