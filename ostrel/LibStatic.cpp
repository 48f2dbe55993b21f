#include "ostrel/LibStatic.h"

#include <cstdint>
#include <iterator>
#include <map>
#include <utility>

namespace ostrel
{

namespace
{

// By order of registration; numbers are never used twice, so a walk that remembers the last number
// it told survives objects that come and go.
using Registry = std::map<std::uint64_t, LibStatic *>;

// Never destroyed: objects of any source file may register before and leave after this one's.
Registry &TheRegistry()
{
    static Registry *const registry = new Registry;
    return *registry;
}

} // namespace

LibStatic::LibStatic(String name) : m_name(std::move(name))
{
    static std::uint64_t s_registered = 0;
    TheRegistry()[++s_registered] = this;
}

LibStatic::~LibStatic()
{
    std::erase_if(TheRegistry(), [this](const auto &entry) { return entry.second == this; });
}

void LibStatic::NotifyStartup(CommandLine &commandLine)
{
    const Registry &registry = TheRegistry();
    std::uint64_t told = 0;
    for (auto next = registry.begin(); next != registry.end(); next = registry.upper_bound(told))
    {
        told = next->first;
        next->second->OnLibStartup(commandLine);
    }
}

void LibStatic::NotifyCleanup()
{
    const Registry &registry = TheRegistry();
    for (auto next = registry.end(); next != registry.begin();)
    {
        --next;
        const std::uint64_t told = next->first;
        next->second->OnLibCleanup();
        next = registry.lower_bound(told);
    }
}

} // namespace ostrel
