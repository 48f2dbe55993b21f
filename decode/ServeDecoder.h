#pragma once

#include <functional>

#include "decode/DecodeRequest.h"
#include "decode/ImageReport.h"
#include "decode/Picture.h"
#include "ostrel/Path.h"

namespace decode
{

/// What a decoder says when it is ready, before it is asked anything.
inline constexpr const char *k_DecoderGreeting = "corvan-decode 3";

/// The exit status of a decoder that a file wanted too much memory of.
inline constexpr int k_OutOfMemory = 12;

/// Whether the memory of a decoder can be limited: not in a build with sanitizers, which reserve
/// the whole address space.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool k_IsMemoryLimited = false;
#else
inline constexpr bool k_IsMemoryLimited = true;
#endif

/// What a decoder can do with a file.
struct DecoderWork
{
    std::function<ImageReport(const ostrel::Path &, ReportDepth)> report;
    std::function<Picture(const ostrel::Path &, const PictureWish &)> picture;
    std::function<Picture(const ostrel::Path &, const StripWish &)> strip;
};

/// The life of a decoder process: reads requests from standard input, a message socket, and answers
/// each with a report or a picture, until the other end is closed or sends what is no request.
/// `arguments` are those of `main`: one, the memory in MiB that reading files may take beyond what
/// the program takes already.
///
/// Standard error is closed to what libraries print, memory is limited, the process ends with the
/// one that started it and leaves no core file. What the work throws becomes the reason in the
/// answer, what the system refuses (`std::system_error`) its trouble; for lack of memory
/// (`std::bad_alloc`) the process ends. Gives the exit status.
int ServeDecoder(int count, char **arguments, const DecoderWork &work);

} // namespace decode
