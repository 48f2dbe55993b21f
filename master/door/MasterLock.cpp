#include "master/door/MasterLock.h"

#include <chrono>
#include <filesystem>
#include <thread>

#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"
#include "ostrel/Folders.h"

namespace master
{

using ostrel::_CallEntry;
using ostrel::Exception;

namespace
{

// What a Master was about to begin when it was killed has its lock until it is what it is to be.
// The next Master, which somebody starts at once, is not to fail of that.
constexpr std::chrono::seconds k_patience{1};
constexpr std::chrono::milliseconds k_pause{20};

std::unique_ptr<ostrel::FileLock> TakeWithPatience(const Path &lockFile)
{
    const auto end = std::chrono::steady_clock::now() + k_patience;
    auto lock = ostrel::FileLock::Take(lockFile);
    while (!lock && std::chrono::steady_clock::now() < end)
    {
        std::this_thread::sleep_for(k_pause);
        lock = ostrel::FileLock::Take(lockFile);
    }
    return lock;
}

} // namespace

MasterLock::MasterLock(const Path &lockFile, const String &claimed)
    : m_lock(TakeWithPatience(lockFile))
{
    _CallEntry call("MasterLock::MasterLock", __FILE__, __LINE__);

    if (!m_lock)
        throw new Exception("another Master uses " + claimed);
}

MasterLock MasterLock::OfDataFolder(const Path &data)
{
    _CallEntry call("MasterLock::OfDataFolder", __FILE__, __LINE__);

    // One that is there already was made by somebody who runs a Master and said who may read it.
    if (!std::filesystem::is_directory(data.Text().c_str()))
        ostrel::MakePrivateFolder(data);
    return {data / "master.lock", "data folder " + data.Text()};
}

} // namespace master
