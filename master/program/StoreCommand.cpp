#include "master/program/StoreCommand.h"

#include <cstdio>
#include <filesystem>

#include "master/door/MasterLock.h"
#include "master/program/MasterOptions.h"
#include "master/store/StoreFiles.h"

namespace master
{

namespace
{

constexpr const char *k_usage =
    "corvan-master store wants one of: check, backup FILE, restore FILE";

void Print(const String &line)
{
    std::puts(line.c_str());
}

// What has a meaning for a Master alone.
void NeedNoOtherOptions(const CommandLine &commandLine)
{
    for (const char *option : {"listen", "slots", "personal"})
        if (commandLine.HasOption(option))
            throw new UsageException(String("--") + option + " has no meaning for the store");
}

Path ReadFile(const CommandLine &commandLine)
{
    const String file = commandLine.GetArgument(nullptr, 2, {});
    if (file.empty())
        throw new UsageException(k_usage);
    return String(std::filesystem::absolute(file.c_str()).string());
}

bool Check(const Path &store)
{
    const std::vector<String> troubles = CheckStore(store);
    for (const String &trouble : troubles)
        Print(trouble);
    Print(store.Text() + (troubles.empty() ? " is whole" : " is damaged"));
    return troubles.empty();
}

void BackUp(const Path &store, const Path &copy)
{
    BackUpStore(store, copy);
    Print(copy.Text() + " is a copy of " + store.Text());
}

void Restore(const Path &copy, const Path &data)
{
    const MasterLock lock = MasterLock::OfDataFolder(data);
    const Path store = StoreFileIn(data);
    const std::optional<Path> kept = RestoreStore(copy, store);
    Print(store.Text() + " is a copy of " + copy.Text() +
          (kept ? "; what was there is kept as " + kept->Text() : String()));
}

} // namespace

bool RunStoreCommand(const CommandLine &commandLine)
{
    NeedNoOtherOptions(commandLine);
    const Path data = ReadDataFolder(commandLine);
    const String what = commandLine.GetArgument(nullptr, 1, {});
    const int count = commandLine.CountPlain();
    if (what == "check" && count == 2)
        return Check(StoreFileIn(data));
    if (what == "backup" && count == 3)
        BackUp(StoreFileIn(data), ReadFile(commandLine));
    else if (what == "restore" && count == 3)
        Restore(ReadFile(commandLine), data);
    else
        throw new UsageException(k_usage);
    return true;
}

} // namespace master
