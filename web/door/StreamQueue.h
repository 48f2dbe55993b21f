#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace web
{

using SharedText = std::shared_ptr<const std::string>;

/// What waits to be written to one page.
///
/// Beyond its bounds all of it goes, and one event "anew" stands for it: so a page that does not
/// read costs no more than that, and one that reads again knows that it has missed something.
class StreamQueue
{
public:
    StreamQueue(std::size_t mostBytes, std::size_t mostEvents);

    void Add(SharedText text);
    bool IsEmpty() const
    {
        return m_texts.empty();
    }
    /// The first of what waits, one at least and of about this many bytes.
    std::vector<SharedText> Take(std::size_t bytes);

private:
    const std::size_t m_mostBytes;
    const std::size_t m_mostEvents;
    std::deque<SharedText> m_texts;
    std::size_t m_bytes = 0;
};

} // namespace web
