#pragma once

#include <thread>

namespace ostrel
{

/// The thread that an object belongs to: the one that made it.
///
/// A program has one loop thread for all but a few things; its parts hold one of these and assert
/// that they are called there.
class LoopThread
{
public:
    bool IsCurrent() const
    {
        return std::this_thread::get_id() == m_id;
    }

private:
    std::thread::id m_id = std::this_thread::get_id();
};

} // namespace ostrel
