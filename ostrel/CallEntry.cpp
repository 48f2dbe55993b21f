#include "ostrel/CallEntry.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>

#include "ostrel/Log.h"

namespace ostrel
{

namespace
{

struct Entry
{
    const char *name;
    const char *file;
    int line;
};

// Deeper calls are counted but not kept: a runaway recursion must still be able to report itself.
constexpr int k_kept = 256;

thread_local Entry s_entries[k_kept];
thread_local int s_depth = 0;

// __FILE__ is whatever path the compiler was given; its leaf says enough.
const char *FileLeaf(const char *file)
{
    const char *slash = std::strrchr(file, '/');
    return slash ? slash + 1 : file;
}

std::string EntryText(const Entry &entry)
{
    return fmt::format("{} ({}:{})", entry.name, FileLeaf(entry.file), entry.line);
}

} // namespace

_CallEntry::_CallEntry(const char *name, const char *file, int line)
{
    const Entry entry{name, file, line};
    if (s_depth < k_kept)
        s_entries[s_depth] = entry;
    ++s_depth;

    if (LogWanted(k_LogTrace))
        Log(k_LogTrace, EntryText(entry));
}

_CallEntry::~_CallEntry()
{
    --s_depth;
}

std::string _CallEntry::Stack()
{
    std::string text;
    if (s_depth > k_kept)
        text = fmt::format("({} deeper calls not kept)\n", s_depth - k_kept);
    for (int i = std::min(s_depth, k_kept); i-- > 0;)
        text += EntryText(s_entries[i]) + '\n';
    return text;
}

} // namespace ostrel
