#pragma once

#include <string>

namespace ostrel
{

/// Notes that a method is running, for as long as it lives.
///
/// Each thread keeps a stack of the names; `LogFatal` prints it, so a report shows how the program
/// got there. Beyond 256 entries the innermost are counted but not kept. At trace level every entry
/// is also logged. Costs a few nanoseconds otherwise.
class _CallEntry
{
public:
    /// `name` is the qualified method, such as "MainWindow::SetFormat". Both texts are kept as
    /// pointers: give literals.
    _CallEntry(const char *name, const char *file, int line);
    ~_CallEntry();
    _CallEntry(const _CallEntry &) = delete;
    _CallEntry &operator=(const _CallEntry &) = delete;

    /// The calling thread's stack, innermost first, one "name (file:line)" a line.
    static std::string Stack();
};

} // namespace ostrel
