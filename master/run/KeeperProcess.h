#pragma once

#include <array>
#include <chrono>
#include <optional>
#include <string>
#include <sys/types.h>

#include "master/run/CommandRunner.h"
#include "master/run/CommandUser.h"
#include "ostrel/Descriptor.h"
#include "ostrel/UID.h"

namespace master
{

using ostrel::Descriptor;
using ostrel::UID;

/// Names in the environment of keepers and of the commands that they hold, by which a Master knows
/// what an earlier run of it has left. The value is the identifier of the Master.
inline constexpr const char *k_KeeperOf = "CORVAN_KEEPER_OF";
inline constexpr const char *k_TaskOf = "CORVAN_TASK_OF";
/// The program that a keeper runs.
inline constexpr const char *k_KeeperName = "corvan-task";

/// How a command is held.
struct KeeperSettings
{
    std::chrono::milliseconds patience; ///< From asking it to end to killing it.
    /// How many files it may have open, where the Master may have more; 0 for as many.
    std::size_t files = 0;
    /// Who commands run as; nothing for the Master's own user.
    std::optional<CommandUser> user{};
};

/// What of the machine one command gets.
struct CommandPlace
{
    Path group; ///< The folder of its control group; empty for none.
    /// So many of the processors, from this one on; 0 for all, also where the group holds it.
    unsigned processors = 0;
    unsigned firstProcessor = 0;
};

/// What `corvan-task` is asked for a command; see `keeper/Protocol.h`. The command is in no control
/// group.
std::string KeeperRequest(const Command &command, const UID &owner, const KeeperSettings &settings);

/// The program between the Master and one command (`keeper/Keeper.h`), which ends whatever the
/// command has started before it ends itself.
///
/// Where this object goes first the command is killed, and waited for.
class KeeperProcess
{
public:
    /// Starts it, and hands the command over. It reads its socket for orders from then on, and
    /// reports there; see `keeper/Protocol.h`. Throws `ostrel::ProcessException *` with the reason
    /// where it cannot be started; that of the command is reported.
    KeeperProcess(const Command &command, const CommandPlace &place, const UID &owner,
                  const KeeperSettings &settings);
    ~KeeperProcess();
    KeeperProcess(const KeeperProcess &) = delete;
    KeeperProcess &operator=(const KeeperProcess &) = delete;

    /// Another number for the socket to it, the caller's to close.
    int DuplicateSocket() const;

    /// Asks for the end of the command and of all that it started.
    void End() const;

    /// After its socket was closed: how it ended itself. Empty where all is well, else the reason,
    /// and what it held is for `KillOrphans`. Nothing where it is not gone yet: one whose files are
    /// on a share that hangs may take any time to close them.
    std::optional<std::string> TryCollect();

private:
    // Ours and its own.
    using Sockets = std::array<int, 2>;

    KeeperProcess(const Command &command, const CommandPlace &place, const UID &owner,
                  const KeeperSettings &settings, const Sockets &sockets);
    static Sockets MakeSockets();
    bool WaitForSocket() const;

    Descriptor m_socket;
    pid_t m_process = -1;
};

} // namespace master
