#include <new>

#include "decode/DecodeImage.h"
#include "decode/MemoryWatch.h"
#include "decode/ServeDecoder.h"

namespace
{

// The image libraries make errors of a file out of memory that they do not get.
decode::ImageReport DecodeWatched(const ostrel::Path &path)
{
    decode::ForgetRefusedMemory();
    decode::ImageReport report = decode::DecodeImage(path);
    if (!report.reason.empty() && decode::IsMemoryRefused())
        throw std::bad_alloc();
    return report;
}

} // namespace

int main(int count, char **arguments)
{
    decode::TellCrashesForLackOfMemory();
    decode::StartImageLibraries();
    return decode::ServeDecoder(count, arguments, DecodeWatched);
}
