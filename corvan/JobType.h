#pragma once

#include <optional>
#include <vector>

#include "corvan/RunLimits.h"
#include "ostrel/Path.h"
#include "ostrel/UID.h"

namespace corvan
{

using ostrel::String;
using ostrel::UID;

/// A command that a job offers to its user, as data: a label and an argument list with
/// placeholders.
struct JobTypeCommand
{
    String label;
    std::vector<String> arguments;
};

/// A parameter that holds the path of a file, or the image format, and where that may lie.
struct JobTypePath
{
    String parameter;
    std::vector<ostrel::Path> roots; ///< Full paths of folders; none where it may lie anywhere.
};

/// When a task that runs counts as stuck.
struct StuckLimits
{
    /// A frame of it takes so many times longer than the slowest tenth of the others; 0 for never.
    unsigned slowTimes = 3;
    unsigned slowSeconds = 300;    ///< And it has run for as long as this.
    unsigned silentSeconds = 1800; ///< It has printed something, and then nothing; 0 for never.
    bool ends = false;             ///< It is ended then, and that try has failed.

    friend bool operator==(const StuckLimits &, const StuckLimits &) = default;
};

/// One kind of job, read from an ini file: how its frames are rendered.
///
///     [Type]
///     Id = 6f1c...            identifier of the type
///     Name = POV-Ray          what people call it
///     RendersFrames = yes     has range, custom range, image format
///     CustomRange = yes       no for a type that has no custom range (one that renders no
///                             frames never has one)
///
///     [Defaults]              any parameter = its value where the job sets none
///     PacketSize = 1
///
///     [Render]                the command, an argument a key, in the order of their numbers; see
///                             Placeholders.h
///     1 = povray
///     2 = +I{Scene}
///
///     [Run]                   how the command is run; all of it may be left out
///     WritesFiles = yes       no: it has succeeded where it ends with 0, whatever it wrote
///     KeepOld = yes           no: a frame that is rendered again is not kept meanwhile
///     PassEnvironment = OCIO BLENDER_*    what else of the Master's environment it gets
///     MaxSeconds = 3600       its limits, see RunLimits.h
///     StuckTimes = 3          when people are told that it is stuck, see StuckLimits: 0 to 1000,
///     StuckSeconds = 300      and up to 1,000,000,000 seconds
///     SilentSeconds = 1800
///     EndStuck = no           yes: it is ended then
///
///     [Paths]                 the parameters that hold the path of a file
///     Scene = /shots;/assets  = the folders that it must lie in once its links are followed, with
///                             ";" between them, in double quotes where they hold one; nothing for
///                             anywhere. ImageFormat stands for all files that are rendered
///
///     [Command.1]             commands that the job offers to its user
///     Label = Open folder
///     1 = xdg-open
///
/// Names of sections and keys are taken to the letter.
class JobType
{
public:
    /// Reads one file. Throws `ostrel::Exception *` that names the file and what is wrong: a
    /// section or key that is not known, an identifier or name that is none, a default that no job
    /// takes, a limit that is none, a command that is empty, has a brace that is not closed or the
    /// label of another, a root that is no full path.
    static JobType Load(const ostrel::Path &file);

    UID id;
    String name;
    bool rendersFrames = true;
    bool hasCustomRange = true;
    std::vector<std::pair<String, String>> defaults;
    std::vector<String> renderCommand;
    bool writesFiles = true;
    bool keepsOld = true;
    std::vector<String> passEnvironment;
    RunLimits limits;
    StuckLimits stuck;
    std::vector<JobTypeCommand> commands;
    std::vector<JobTypePath> paths;

    /// The default of a parameter; nothing when the type has none.
    std::optional<String> FindDefault(const String &parameter) const;
    /// Whether the parameter holds the path of a file.
    bool IsPath(const String &parameter) const;
};

} // namespace corvan
