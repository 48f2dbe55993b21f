#pragma once

#include "ostrel/String.h"

namespace ostrel
{

class CommandLine;

/// An object that is told when the libraries start and when they clean up.
///
/// It is on the list from its construction to its destruction. Main thread.
class LibStatic
{
public:
    explicit LibStatic(String name);
    virtual ~LibStatic();
    LibStatic(const LibStatic &) = delete;
    LibStatic &operator=(const LibStatic &) = delete;

    const String &LibName() const
    {
        return m_name;
    }

    virtual void OnLibStartup(CommandLine & /*commandLine*/) {}
    virtual void OnLibCleanup() {}

    /// Tells all, in order of registration; clean-up in reverse. An object may go, or come, while
    /// the others are told.
    static void NotifyStartup(CommandLine &commandLine);
    static void NotifyCleanup();

private:
    String m_name;
};

} // namespace ostrel
