#pragma once

#include <optional>
#include <string>
#include <vector>

#include "analysis/Expansion.h"
#include "corvan/SizeRule.h"

namespace check
{

using ostrel::String;

/// What a process of its own (`corvan-check`) is to look at: the frames of one job.
struct LookRequest
{
    enum class Depth
    {
        Prints,   ///< What the files are like, and no verdict.
        Sizes,    ///< Is each there, and is its size that of those around it?
        Images,   ///< They are read, too.
        Pictures, ///< And what is seen in them is held against the frames around.
    };

    std::vector<String> formats;    ///< Patterns, in this machine's notation.
    analysis::ExpansionInput input; ///< Its texts; the set of frames is not handed over.
    Depth depth = Depth::Prints;
    corvan::SizeRule sizeRule = corvan::SizeRule::Neighbours;
    /// The `LookAnswer::print` of an earlier look: there is no verdict where the files are not as
    /// they were then. Empty for one in any case.
    String print;
    /// Whoever rendered them has seen each file, so where none is there it is the share that is
    /// not.
    bool wereSeen = false;

    bool ReadsImages() const
    {
        return depth == Depth::Images || depth == Depth::Pictures;
    }
};

/// As arguments of the program, without its name. Nothing where the system does not let a program
/// have as many.
std::optional<std::vector<std::string>> ArgumentsOf(const LookRequest &request);

/// Reads them. Nothing for what is no request.
std::optional<LookRequest> ReadArguments(const std::vector<std::string> &arguments);

} // namespace check
