#pragma once

#include <functional>
#include <string>

namespace simulation
{

/// What was found wrong in a history, and, where somebody wants to read it, what happened.
class Verdict
{
public:
    /// Gets a line for all that happens.
    using Listener = std::function<void(const std::string &)>;

    explicit Verdict(Listener listener = {}) : m_listener(std::move(listener)) {}

    /// `text` is only made where somebody listens.
    template <typename Text> void Tell(Text text) const
    {
        if (m_listener)
            m_listener(text());
    }

    void Wrong(const std::string &what)
    {
        Tell([&] { return "WRONG: " + what; });
        if (m_wrong.empty())
            m_wrong = what;
    }

    /// The first thing that was wrong; empty where all is well.
    const std::string &Found() const
    {
        return m_wrong;
    }

private:
    Listener m_listener;
    std::string m_wrong;
};

} // namespace simulation
