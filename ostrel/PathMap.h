#pragma once

#include <vector>

#include "ostrel/String.h"

namespace ostrel
{

class IniFile;

/// Which local folder stands for which shared one ("//server/shots" is "/mnt/shots" here).
///
/// The longest shared prefix wins; a prefix fits whole components only ("/a/b" does not fit
/// "/a/bc"). "/" and "\" count as the same separator in shared paths; once a prefix fits, the
/// rest is written with "/". The way back takes the longest local prefix and follows the same
/// rules, but "\" is no separator of a local path.
class PathMap
{
public:
    PathMap() = default;

    /// Reads section "PathMap": one shared prefix = local prefix a line.
    explicit PathMap(const IniFile &options);

    void Add(const String &sharedPrefix, const String &localPrefix);

    /// The local form of `shared`; `shared` itself, untouched, where no entry fits.
    String Translate(const String &shared) const;

    /// The shared form of `local`, its prefix written with "/"; `local` itself where no entry fits.
    /// Where several shared prefixes stand for one local, the one added first is meant.
    String TranslateBack(const String &local) const;

    /// The same map for path patterns, in whose texts each percent sign of a prefix is doubled.
    PathMap ForPatterns() const;

private:
    struct Entry
    {
        String shared; ///< Without separators at its end.
        String local;
    };
    std::vector<Entry> m_entries; ///< As they were added.
};

} // namespace ostrel
