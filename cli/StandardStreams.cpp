#include "cli/StandardStreams.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace cli
{

namespace
{

// Writing into a closed pipe is an error and no end, for as long as this lives.
class PipeSignalPause
{
public:
    PipeSignalPause() : m_before(std::signal(SIGPIPE, SIG_IGN)) {}
    ~PipeSignalPause()
    {
        std::signal(SIGPIPE, m_before);
    }
    PipeSignalPause(const PipeSignalPause &) = delete;
    PipeSignalPause &operator=(const PipeSignalPause &) = delete;

private:
    void (*m_before)(int);
};

} // namespace

void OccupyStandardStreams()
{
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(number, F_GETFD) < 0)
            // The lowest number that is free, and so this one. Reading alone, so that output that
            // nobody gets is told.
            open("/dev/null", O_RDONLY);
}

String FlushOutput()
{
    errno = 0;
    if (std::fflush(stdout) == 0 && !std::ferror(stdout))
        return {};
    const String why = errno != 0 ? ": " + String(std::strerror(errno)) : String();
    return "cannot write to standard output" + why;
}

String PrintWhatMatters(const String &text)
{
    const PipeSignalPause pause;
    std::fwrite(text.data(), 1, text.size(), stdout);
    return FlushOutput();
}

} // namespace cli
