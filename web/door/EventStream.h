#pragma once

#include <functional>
#include <memory>
#include <string>

namespace web
{

/// One page that is told what happens, by server-sent events. Loop thread.
///
/// What it has not taken yet waits in a queue with a bound: beyond it all that waits is dropped,
/// and the page is told "anew" in its place. A comment goes out where nothing else did for 15
/// seconds; the door sees to that.
class EventStream
{
public:
    virtual ~EventStream() = default;

    /// The text of an event, as `EventText` gives it; shared by all who get it. Nothing happens
    /// where nobody reads any more.
    virtual void Send(const std::shared_ptr<const std::string> &event) = 0;
    /// Whether all that was sent is on its way: who is slow is told less often.
    virtual bool IsDrained() const = 0;
    /// Called once, when nobody reads any more, also where that was before. Never from within
    /// `Send` or `OnClosed`.
    virtual void OnClosed(std::function<void()> closed) = 0;
    virtual void Close() = 0;
};

/// An event with its name; the data is one line of JSON.
std::string EventText(const std::string &name, const std::string &json);

} // namespace web
