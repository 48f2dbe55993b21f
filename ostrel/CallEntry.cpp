#include "ostrel/CallEntry.h"

#include <cstring>
#include <fmt/format.h>

#include "ostrel/Log.h"

namespace ostrel
{

namespace
{

// Enough to tell by; a runaway recursion must still be able to report itself.
constexpr int k_shown = 256;

// __FILE__ is whatever path the compiler was given; its leaf says enough.
const char *FileLeaf(const char *file)
{
    const char *slash = std::strrchr(file, '/');
    return slash ? slash + 1 : file;
}

} // namespace

std::string _CallEntry::Text() const
{
    return fmt::format("{} ({}:{})", m_name, FileLeaf(m_file), m_line);
}

void _CallEntry::LogTrace() const
{
    try
    {
        Log(k_LogTrace, Text());
    }
    catch (...)
    {
        // Out of memory. An entry that was not made whole would stay in the list.
    }
}

std::string _CallEntry::Stack()
{
    int deeper = -k_shown;
    for (const _CallEntry *entry = s_innermost; entry; entry = entry->m_outer)
        ++deeper;

    std::string text;
    const _CallEntry *entry = s_innermost;
    if (deeper > 0)
        text = fmt::format("({} deeper calls not shown)\n", deeper);
    for (; deeper > 0; --deeper)
        entry = entry->m_outer;
    for (; entry; entry = entry->m_outer)
        text += entry->Text() + '\n';
    return text;
}

} // namespace ostrel
