#pragma once

#include <optional>
#include <string>
#include <vector>

#include "analysis/Expansion.h"
#include "corvan/Job.h"
#include "keeper/PathRoots.h"
#include "master/run/Packet.h"
#include "ostrel/Path.h"

namespace master
{

using corvan::Job;
using ostrel::Path;
using ostrel::String;

/// Most files of a packet that a command is told one by one: its arguments have little room.
constexpr std::size_t k_MaxOutputs = 10'000;

/// How a packet is rendered.
struct RenderCommand
{
    std::vector<std::string> arguments; ///< The program and its arguments.
    /// The path of the packet's first frame in each of the job's image formats.
    std::vector<Path> outputs;
    /// The paths that have roots; what is relative begins in the folder that the command runs in.
    std::vector<keeper::RootedPath> rooted;
    std::vector<std::string> outputRoots; ///< The folders that rendered files are to lie in.
};

/// Fills in the render command of the job's type.
///
/// Beside the job's parameters ("{Scene}") there are {FirstFrame}, {LastFrame}, {Frame} (the
/// first), {ID} (of the job), {Output}, the path of the first frame in the job's first image format
/// in this machine's notation, and {OutputPattern}, that format itself in this machine's notation.
/// {Outputs} are the paths of all files of the packet in that format and {OutputFrames} the frames
/// that they show ("7", "7.5"), lists both; there are none for a packet of more than `k_MaxOutputs`
/// files. All are empty for a job without image formats.
///
/// Nothing, with the reason, for a placeholder that has no value or one that
/// `corvan::ExpandArguments` refuses, an image format that is no pattern or, in this machine's
/// notation, no full path, a path that as it is written lies in none of its roots, a file whose
/// number does not fit 32 bits, and a command without a program.
std::optional<RenderCommand> BuildRenderCommand(const Job &job, const Packet &packet,
                                                int firstFrame, String *reason);

/// How the job numbers its files; its first frame is `firstFrame`.
analysis::Renumbering RenumberingOf(const Job &job, int firstFrame);

/// Every file that the packet's command is to write, of each of the job's image formats, each once.
/// None for a type that writes none, and for a packet of more than `analysis::k_MaxFiles` files:
/// nothing looks for those either.
std::vector<Path> ListOutputs(const Job &job, const Packet &packet, int firstFrame);

} // namespace master
