#pragma once

#include <optional>
#include <span>

#include "corvan/MasterAddress.h"
#include "master/door/Identity.h"
#include "master/run/CommandUser.h"
#include "ostrel/CommandLine.h"
#include "ostrel/Exception.h"
#include "ostrel/Path.h"

namespace master
{

using ostrel::CommandLine;
using ostrel::Path;
using ostrel::String;

/// The command line or the environment asks for what cannot be; the text names it.
class UsageException : public ostrel::Exception
{
public:
    using Exception::Exception;
};

/// What corvan-master was asked for, where it is to run.
struct MasterOptions
{
    Path data;
    corvan::MasterAddress address;
    unsigned slots = 1; ///< Commands at once; 0 keeps jobs and runs none.
    bool isPersonal = false;
};

/// The data folder alone, as `ReadMasterOptions` reads it.
Path ReadDataFolder(const CommandLine &commandLine);

/// Who runs the commands.
enum class Engine
{
    Local, ///< This machine.
    Slurm, ///< A cluster.
};

/// "--engine", else key "Engine" of section "Master", else this machine. Throws `UsageException *`
/// for what is none, and where it cannot be along with another option.
Engine ReadEngine(const CommandLine &commandLine, const ostrel::IniFile &options);

/// Most commands at once.
constexpr unsigned k_MaxSlots = 1024;

/// The options that corvan-master takes.
std::span<const ostrel::CommandLineOption> MasterCommandLineOptions();

/// Reads the data folder alone: "--data", else the environment's "CORVAN_DATA", else the user's.
Path ReadDataFolder(const CommandLine &commandLine);

/// Key "SocketRole" of section "Master": the role of this machine's other users on the socket file.
/// Nothing where it is not set. Throws `UsageException *` for what is no role.
std::optional<Role> ReadSocketRole(const ostrel::IniFile &options);

/// Key "RunAs" of section "Master": the user that commands run as, where it is not the Master's.
/// Nothing where it is not set. Throws `UsageException *` where they cannot, and where that user
/// could enter the data folder.
std::optional<CommandUser> ReadCommandUser(const ostrel::IniFile &options, const Path &data);

/// Reads them; where one is not given, the environment ("CORVAN_DATA", "CORVAN_MASTER"), and then
/// the default: the user's data folder, the address of the personal Master, as many slots as
/// cores. Throws `UsageException *` for a value that cannot be.
MasterOptions ReadMasterOptions(const CommandLine &commandLine);

} // namespace master
