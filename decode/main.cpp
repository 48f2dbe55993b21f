#include <new>

#include "decode/DecodeImage.h"
#include "decode/MakePicture.h"
#include "decode/MakeStrip.h"
#include "decode/MemoryWatch.h"
#include "decode/ServeDecoder.h"

namespace
{

// The image libraries make errors of a file out of memory that they do not get.
template <typename Look> auto WatchMemory(Look look)
{
    decode::ForgetRefusedMemory();
    auto answer = look();
    if (!answer.reason.empty() && decode::IsMemoryRefused())
        throw std::bad_alloc();
    return answer;
}

decode::ImageReport ReportWatched(const ostrel::Path &path, decode::ReportDepth depth)
{
    return WatchMemory([&] { return decode::DecodeImage(path, depth); });
}

decode::Picture PictureWatched(const ostrel::Path &path, const decode::PictureWish &wish)
{
    return WatchMemory([&] { return decode::MakePicture(path, wish); });
}

decode::Picture StripWatched(const ostrel::Path &path, const decode::StripWish &wish)
{
    return WatchMemory([&] { return decode::MakeStrip(path, wish); });
}

} // namespace

int main(int count, char **arguments)
{
    decode::TellCrashesForLackOfMemory();
    decode::StartImageLibraries();
    return decode::ServeDecoder(count, arguments, {ReportWatched, PictureWatched, StripWatched});
}
