#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <span>

#include "decode/DecodeRequest.h"
#include "decode/ImageReport.h"
#include "decode/Picture.h"
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

/// Told the index of a file and what reading it has shown.
using FoundReport = std::function<void(std::size_t, const ImageReport &)>;

/// Told the index of a request and the picture that has come of it.
using FoundPicture = std::function<void(std::size_t, Picture)>;

/// Decoders, which load the image libraries once for all that they read. They end with this object.
/// Not thread-safe, and of one thread: decoders end with the thread that started them.
class DecodeCrew
{
public:
    DecodeCrew(Path program, const DecodeLimits &limits);
    ~DecodeCrew();
    DecodeCrew(const DecodeCrew &) = delete;
    DecodeCrew &operator=(const DecodeCrew &) = delete;

    /// Starts decoders ahead of so many files, beside those that there are: loading the image
    /// libraries takes long, and what the caller does until `Read` may take longer. One that cannot
    /// be started is for `Read` to tell.
    void StartAhead(std::size_t files);

    /// Reads image files whole and calls `found(index, report)` for each as it is done, in any
    /// order, on the calling thread.
    ///
    /// A file that crashes its decoder has that as its reason, one that takes longer or wants more
    /// memory than the limits as its trouble, and the next file gets a new decoder. Throws
    /// `ostrel::ProcessException *` when no decoder can be started. What `found` throws ends it,
    /// and all decoders; otherwise they wait for the next call.
    void Read(std::span<const Path> files, const FoundReport &found,
              ReportDepth depth = ReportDepth::Whole);

    /// Has pictures made, by decoders that are started for them: each request asks for a picture or
    /// a strip. Otherwise as `Read`.
    void Make(std::span<const DecodeRequest> requests, const FoundPicture &found);

private:
    class Workers;

    Path m_program;
    DecodeLimits m_limits;
    std::unique_ptr<Workers> m_workers; ///< Null where none were started.
};

/// `DecodeCrew::Read` by decoders that are started for these files.
void DecodeFiles(const Path &program, std::span<const Path> files, const DecodeLimits &limits,
                 const FoundReport &found, ReportDepth depth = ReportDepth::Whole);

} // namespace decode
