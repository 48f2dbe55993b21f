#pragma once

#include <chrono>
#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>

#include "ostrel/String.h"

namespace web
{

using ostrel::String;

/// What has come of a request for something about a file.
struct Made
{
    std::shared_ptr<const std::string> bytes; ///< Null where there is none.
    std::string tag;                          ///< Another for each other content.
    String reason;                            ///< Why there is none.
    bool isOurFault = false;
    bool isLate = false; ///< The disk does not answer.
    bool isBusy = false; ///< Too much is being made: later there may be one.
};

/// What was made last, in memory, bounded by bytes: what was not used for the longest time is
/// forgotten first. Loop thread.
class RecentPictures
{
public:
    using Clock = std::chrono::steady_clock;

    struct Entry
    {
        std::string subject;      // Of which it is.
        std::string identity;     // Of the files that it was made of.
        Clock::time_point looked; // When they were last seen to be so.
        Clock::time_point made;
        bool isPassing = false; // A trouble: another time it may go well.
        Made what;
    };

    explicit RecentPictures(std::size_t mostBytes) : m_most(mostBytes) {}

    /// Null where there is none. Valid until the next change.
    Entry *Find(const std::string &subject);

    void Put(Entry entry);

private:
    using Place = std::list<Entry>::iterator;

    void Remove(Place place);

    const std::size_t m_most;
    std::size_t m_bytes = 0;
    std::list<Entry> m_entries; // The last one used first.
    std::unordered_map<std::string, Place> m_bySubject;
};

} // namespace web
