#pragma once

#include <span>

#include "corvan/MasterAddress.h"
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

/// What corvan-master was asked for.
struct MasterOptions
{
    Path data;
    corvan::MasterAddress address;
    unsigned slots = 1; ///< Commands at once; 0 keeps jobs and runs none.
    bool isPersonal = false;
};

/// The data folder alone, as `ReadMasterOptions` reads it.
Path ReadDataFolder(const CommandLine &commandLine);

/// Most commands at once.
constexpr unsigned k_MaxSlots = 1024;

/// The options that corvan-master takes.
std::span<const ostrel::CommandLineOption> MasterCommandLineOptions();

/// Reads them; where one is not given, the environment ("CORVAN_DATA", "CORVAN_MASTER"), and then
/// the default: the user's data folder, the address of the personal Master, as many slots as
/// cores. Throws `UsageException *` for a value that cannot be.
MasterOptions ReadMasterOptions(const CommandLine &commandLine);

} // namespace master
