#pragma once

#include <utility>
#include <vector>

#include "ostrel/String.h"

namespace ostrel
{

class IniFile;

/// Which local folder stands for which shared one ("//server/shots" is "/mnt/shots" here).
///
/// The longest shared prefix wins; a prefix fits whole components only ("/a/b" does not fit
/// "/a/bc"). "/" and "\" count as the same separator in shared paths; once a prefix fits, the
/// rest is written with "/".
class PathMap
{
public:
    PathMap() = default;

    /// Reads section "PathMap": one shared prefix = local prefix a line.
    explicit PathMap(const IniFile &options);

    void Add(const String &sharedPrefix, const String &localPrefix);

    /// The local form of `shared`; `shared` itself, untouched, where no entry fits.
    String Translate(const String &shared) const;

private:
    // Longest shared prefix first.
    std::vector<std::pair<String, String>> m_entries;
};

} // namespace ostrel
