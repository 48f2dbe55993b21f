#include "decode/ServeDecoder.h"

#include <array>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <new>
#include <optional>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

#include "decode/DecodeRequest.h"

namespace decode
{

namespace
{

constexpr int k_channel = STDIN_FILENO;

std::optional<rlim_t> ParseMemory(int count, char **arguments)
{
    if (count != 2)
        return std::nullopt;
    rlim_t mebibytes = 0;
    const char *end = arguments[1] + std::strlen(arguments[1]);
    const auto [read, error] = std::from_chars(arguments[1], end, mebibytes);
    if (error != std::errc() || read != end || mebibytes > (RLIM_INFINITY >> 21))
        return std::nullopt;
    return mebibytes << 20;
}

rlim_t AddressSpaceNow()
{
    std::ifstream file("/proc/self/statm");
    rlim_t pages = 0;
    file >> pages;
    return pages * rlim_t(sysconf(_SC_PAGESIZE));
}

void Limit(__rlimit_resource_t what, rlim_t most)
{
    const rlimit limit{most, most};
    setrlimit(what, &limit);
}

void EndWithStarter()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}

void LeaveNoCore()
{
    Limit(RLIMIT_CORE, 0);
    // Where cores go to a program, the limit is not asked.
    prctl(PR_SET_DUMPABLE, 0);
}

void CloseErrors()
{
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDERR_FILENO);
    close(nowhere);
}

bool Send(const std::string &message)
{
    return send(k_channel, message.data(), message.size(), MSG_NOSIGNAL) == ssize_t(message.size());
}

// Nothing once the other end is closed, or says what makes no sense.
std::optional<DecodeRequest> ReceiveRequest()
{
    std::array<char, 1 << 16> buffer;
    ssize_t size = 0;
    do
        size = recv(k_channel, buffer.data(), buffer.size(), 0);
    while (size < 0 && errno == EINTR);
    if (size <= 0)
        return std::nullopt;
    return ParseRequest({buffer.data(), std::size_t(size)});
}

// `Answer` is a report or a picture; both tell what went wrong in the same way.
template <typename Answer, typename Make> Answer MakeAnswer(Make make)
{
    Answer answer;
    try
    {
        return make();
    }
    catch (const std::bad_alloc &)
    {
        throw;
    }
    catch (const std::system_error &error)
    {
        answer.trouble = error.what();
    }
    catch (const std::exception &error)
    {
        answer.reason = error.what();
    }
    return answer;
}

bool SendPicture(const Picture &picture)
{
    bool isSent = Send(PackPictureHead(picture));
    for (std::size_t at = 0; isSent && at < picture.jpeg.size(); at += k_PicturePiece)
        isSent = Send(picture.jpeg.substr(at, k_PicturePiece));
    return isSent;
}

bool SendAnswer(const DecodeRequest &request, const DecoderWork &work)
{
    if (request.picture)
        return SendPicture(
            MakeAnswer<Picture>([&] { return work.picture(request.path, *request.picture); }));
    if (request.strip)
        return SendPicture(
            MakeAnswer<Picture>([&] { return work.strip(request.path, *request.strip); }));
    return Send(PackReport(
        MakeAnswer<ImageReport>([&] { return work.report(request.path, request.depth); })));
}

} // namespace

int ServeDecoder(int count, char **arguments, const DecoderWork &work)
{
    const std::optional<rlim_t> memory = ParseMemory(count, arguments);
    if (!memory)
    {
        std::fputs("corvan-decode is started by corvan check --decode and by corvan-web\n", stderr);
        return 2;
    }
    EndWithStarter();
    LeaveNoCore();
    if (k_IsMemoryLimited)
        Limit(RLIMIT_AS, AddressSpaceNow() + *memory);
    if (!Send(k_DecoderGreeting))
        return 1;
    CloseErrors();

    try
    {
        while (const std::optional<DecodeRequest> request = ReceiveRequest())
            if (!SendAnswer(*request, work))
                return 1;
    }
    catch (const std::bad_alloc &)
    {
        return k_OutOfMemory;
    }
    return 0;
}

} // namespace decode
