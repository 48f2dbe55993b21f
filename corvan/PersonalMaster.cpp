#include "corvan/PersonalMaster.h"

#include <algorithm>
#include <boost/algorithm/string/trim.hpp>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/close_range.h>
#include <memory>
#include <mutex>
#include <poll.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "ostrel/Descriptor.h"
#include "ostrel/Folders.h"
#include "ostrel/Log.h"

namespace corvan
{

namespace
{

const char *const k_program = "corvan-master";

bool IsProgram(const ostrel::Path &file)
{
    return ::access(file.Text().c_str(), X_OK) == 0;
}

/// Beside the running program, else on the search path; empty when it is nowhere.
ostrel::Path FindProgram()
{
    ostrel::Path beside = ostrel::ProgramFolder() / k_program;
    if (IsProgram(beside))
        return beside;

    const char *set = std::getenv("PATH");
    String folders = set ? set : "";
    folders += ':';
    for (std::size_t begin = 0, end; (end = folders.find(':', begin)) != String::npos;
         begin = end + 1)
    {
        ostrel::Path file = ostrel::Path(folders.substr(begin, end - begin)) / k_program;
        if (folders[begin] == '/' && IsProgram(file))
            return file;
    }
    return {};
}

/// The Master that was started last.
struct Started
{
    std::mutex mutex;
    /// Its standard error: a file in memory, so that it may write when nobody reads any more.
    std::unique_ptr<ostrel::Descriptor> errors;
    std::unique_ptr<ostrel::Descriptor> process; ///< Can be read once it has ended.

    bool IsAlive() const
    {
        if (!process || !process->IsOpen())
            return false;
        pollfd ended{process->Number(), POLLIN, 0};
        return ::poll(&ended, 1, 0) == 0;
    }
};

Started &TheStarted()
{
    static Started started;
    return started;
}

/// What the started process tells on its way, in this order; neither where it could not be made.
struct Told
{
    pid_t process = 0; ///< It is there.
    int error = 0;     ///< It could not become the program.
};

void Tell(int end, int number)
{
    [[maybe_unused]] const auto written = ::write(end, &number, sizeof number);
}

int Hear(int end)
{
    int number = 0;
    while (::read(end, &number, sizeof number) < 0 && errno == EINTR)
    {
    }
    return number;
}

/// The child's part, between fork and exec: system calls alone, for the other threads of the
/// program are gone and may have held any lock. Ends the process.
[[noreturn]] void RunDetached(const char *file, char *const *arguments, int errors, int end)
{
    ::setsid();
    // The grandchild belongs to init at once, so nobody here has to wait for it.
    const pid_t grandchild = ::fork();
    if (grandchild > 0)
        ::_exit(0);
    if (grandchild == 0)
    {
        Tell(end, ::getpid());
        const int nothing = ::open("/dev/null", O_RDWR);
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO})
            ::dup2(nothing, stream);
        ::dup2(errors < 0 ? nothing : errors, STDERR_FILENO);
        ::close_range(STDERR_FILENO + 1, ~0u, CLOSE_RANGE_CLOEXEC);
        if (::chdir("/") == 0)
            ::execv(file, arguments);
    }
    const int error = errno;
    if (grandchild < 0)
        Tell(end, 0);
    Tell(end, error);
    ::_exit(1);
}

/// Waits until the program runs, or could not.
Told StartDetached(const String &file, const std::vector<char *> &arguments, int errors)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return {0, errno};
    const ostrel::Descriptor readEnd(ends[0]);
    auto writeEnd = std::make_unique<ostrel::Descriptor>(ends[1]);

    const pid_t child = ::fork();
    if (child < 0)
        return {0, errno};
    if (child == 0)
        RunDetached(file.c_str(), arguments.data(), errors, ends[1]);

    writeEnd.reset();
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR)
    {
    }
    Told told;
    told.process = Hear(ends[0]);
    told.error = Hear(ends[0]);
    return told;
}

} // namespace

bool StartPersonalMaster()
{
    Started &started = TheStarted();
    {
        const std::lock_guard lock(started.mutex);
        if (started.IsAlive())
            return true;
    }

    const ostrel::Path program = FindProgram();
    if (program.IsEmpty())
    {
        ostrel::LogWarning(String("cannot start a personal Master: ") + k_program +
                           " is neither beside this program nor on the search path");
        return false;
    }

    if (const String before = PersonalMasterErrors(); !before.empty())
        ostrel::LogWarning("the personal Master that was started before ended: " + before);

    const std::lock_guard lock(started.mutex);
    started.errors =
        std::make_unique<ostrel::Descriptor>(::memfd_create("corvan-master", MFD_CLOEXEC));
    String file = program.Text();
    String option = "--personal";
    const Told told =
        StartDetached(file, {file.data(), option.data(), nullptr}, started.errors->Number());
    if (told.error != 0)
    {
        ostrel::LogWarning("cannot start a personal Master: " + file + ": " +
                           std::strerror(told.error));
        return false;
    }
    started.process =
        std::make_unique<ostrel::Descriptor>(int(::syscall(SYS_pidfd_open, told.process, 0)));
    ostrel::LogStatus("Started a personal Master: " + file);
    return true;
}

String PersonalMasterErrors()
{
    Started &started = TheStarted();
    const std::lock_guard lock(started.mutex);
    if (!started.errors || !started.errors->IsOpen())
        return {};
    char text[4096];
    const ssize_t count = ::pread(started.errors->Number(), text, sizeof text, 0);
    return boost::algorithm::trim_copy(std::string(text, std::size_t(std::max<ssize_t>(count, 0))));
}

} // namespace corvan
