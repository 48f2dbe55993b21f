#pragma once

#include <string>

#include "ostrel/LogLevel.h"

namespace ostrel
{

/// Notes that a method is running, for as long as it lives: a local variable, first in its method.
///
/// The entries of each thread are linked from the innermost outwards; `LogFatal` prints their
/// names, so a report shows how the program got there. At trace level every entry is also logged.
/// Below it one costs a comparison and a few stores, inline, since comparators of a sort open one
/// too.
class _CallEntry
{
public:
    /// `name` is the qualified method, such as "MainWindow::SetFormat". Both texts are kept as
    /// pointers: give literals.
    _CallEntry(const char *name, const char *file, int line)
        : m_outer(s_innermost), m_name(name), m_file(file), m_line(line)
    {
        s_innermost = this;
        if (LogWanted(k_LogTrace)) [[unlikely]]
            LogTrace();
    }
    ~_CallEntry()
    {
        s_innermost = m_outer;
    }
    _CallEntry(const _CallEntry &) = delete;
    _CallEntry &operator=(const _CallEntry &) = delete;

    /// The calling thread's entries, innermost first, one "name (file:line)" a line. Of more than
    /// 256 those within are counted alone.
    static std::string Stack();

private:
    void LogTrace() const;
    std::string Text() const;

    // Constant at first, so that reading it needs no call.
    static inline constinit thread_local const _CallEntry *s_innermost = nullptr;

    const _CallEntry *m_outer;
    const char *m_name;
    const char *m_file;
    int m_line;
};

} // namespace ostrel
