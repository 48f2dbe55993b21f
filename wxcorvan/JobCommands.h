#pragma once

#include <vector>

#include "corvan/Job.h"
#include "corvan/JobType.h"
#include "ostrel/IniFile.h"

namespace wxcorvan
{

/// One thing that a user can do with a job: a wish to the Master, or a program to start.
struct JobCommand
{
    ostrel::String group;     ///< "Master", "Type" or "Options".
    ostrel::String label;     ///< Untranslated.
    ostrel::String parameter; ///< Of a wish: which parameter shall have the value.
    ostrel::String value;
    std::vector<ostrel::String> arguments; ///< Of a program: with placeholders.

    friend bool operator==(const JobCommand &, const JobCommand &) = default;
};

/// What the Master can do with the job in its status: pause, resume, cancel, run again, and, until
/// it is over, raise and lower its priority by 10 within 0 to 100.
std::vector<JobCommand> ListMasterCommands(const corvan::Job &job);

/// The commands of a section of the options: "Command.N.Label" and "Command.N.1", "Command.N.2"
/// and on for the argument list, in the order of the numbers N. A command that was copied from
/// other options stands before the options' own of the same number. One without a label or
/// arguments, or with the label of an earlier one, is passed over with a warning.
std::vector<JobCommand> ListOptionCommands(const ostrel::IniFile &options,
                                           const ostrel::String &section);

/// All of a job's: the Master's, its type's, the options'. A command of the options takes the
/// place of the type's command of the same label.
std::vector<JobCommand> ListJobCommands(const corvan::Job &job, const ostrel::IniFile &options);

} // namespace wxcorvan
