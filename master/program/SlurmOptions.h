#pragma once

#include <boost/asio/io_context.hpp>
#include <memory>

#include "master/run/CommandRunner.h"
#include "master/slurm/SlurmRunner.h"
#include "ostrel/IniFile.h"

namespace master
{

/// The folder of section "Slurm": on a share that all nodes have at the same place. Empty where
/// none is given; throws `UsageException *` for one that is no full path.
Path ReadSlurmFolder(const ostrel::IniFile &options);

/// The runner of a Master whose engine is Slurm, as section "Slurm" of the options says. Throws
/// `UsageException *` for a value that cannot be, and `ostrel::Exception *` where there is no
/// cluster, in Slurm's own words.
std::unique_ptr<CommandRunner> MakeSlurmRunner(boost::asio::io_context &loop,
                                               const ostrel::IniFile &options,
                                               const KeeperSettings &keeper);

} // namespace master
