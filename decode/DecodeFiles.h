#pragma once

#include <chrono>
#include <functional>
#include <span>

#include "decode/ImageReport.h"
#include "ostrel/Path.h"

namespace decode
{

using ostrel::Path;

/// How many decoders there are, and what each may take for one file.
struct DecodeLimits
{
    unsigned jobs = 0; ///< Processes; 0 for one a core.
    std::chrono::seconds time{60};
    /// Beyond what the decoder itself takes. Below `k_LeastMemoryMib` sound images are given up.
    unsigned memoryMib = 4096;
};

/// What reading a small image of any format takes: the libraries read into buffers of 64 MiB.
inline constexpr unsigned k_LeastMemoryMib = 128;

/// The program that reads the images: beside the running one, else
/// ../libexec/ordwick/corvan-decode.
Path DecoderProgram();

/// Reads image files whole, in child processes, and calls `found(index, report)` for each as it is
/// done, in any order, on the calling thread.
///
/// A file that crashes its decoder has that as its reason, one that takes longer or wants more
/// memory than the limits as its trouble, and the next file gets a new decoder. Throws
/// `ostrel::ProcessException *` when no decoder can be started. What `found` throws ends it; in any
/// case no decoder is left when this returns.
void DecodeFiles(const Path &program, std::span<const Path> files, const DecodeLimits &limits,
                 const std::function<void(std::size_t, const ImageReport &)> &found);

} // namespace decode
