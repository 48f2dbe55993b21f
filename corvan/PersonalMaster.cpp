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
#include <sys/mman.h>
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

/// The standard error of the Master that was started last: a file in memory, so that the Master may
/// write to it when nobody reads any more.
struct Errors
{
    std::mutex mutex;
    std::unique_ptr<ostrel::Descriptor> file;
};

Errors &TheErrors()
{
    static Errors errors;
    return errors;
}

/// The child's part, between fork and exec: system calls alone, for the other threads of the
/// program are gone and may have held any lock. Ends the process.
[[noreturn]] void RunDetached(const char *file, char *const *arguments, int errors, int errorPipe)
{
    ::setsid();
    // The grandchild belongs to init at once, so nobody here has to wait for it.
    const pid_t grandchild = ::fork();
    if (grandchild > 0)
        ::_exit(0);
    if (grandchild == 0)
    {
        const int nothing = ::open("/dev/null", O_RDWR);
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO})
            ::dup2(nothing, stream);
        ::dup2(errors < 0 ? nothing : errors, STDERR_FILENO);
        ::close_range(STDERR_FILENO + 1, ~0u, CLOSE_RANGE_CLOEXEC);
        if (::chdir("/") == 0)
            ::execv(file, arguments);
    }
    const int error = errno;
    [[maybe_unused]] const auto written = ::write(errorPipe, &error, sizeof error);
    ::_exit(1);
}

/// Waits until the program runs, or could not: 0, or the system's error number.
int StartDetached(const String &file, const std::vector<char *> &arguments, int errors)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return errno;
    const ostrel::Descriptor readEnd(ends[0]);
    auto writeEnd = std::make_unique<ostrel::Descriptor>(ends[1]);

    const pid_t child = ::fork();
    if (child < 0)
        return errno;
    if (child == 0)
        RunDetached(file.c_str(), arguments.data(), errors, ends[1]);

    writeEnd.reset();
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR)
    {
    }
    int error = 0;
    while (::read(ends[0], &error, sizeof error) < 0 && errno == EINTR)
    {
    }
    return error;
}

} // namespace

bool StartPersonalMaster()
{
    const ostrel::Path program = FindProgram();
    if (program.IsEmpty())
    {
        ostrel::LogWarning(String("cannot start a personal Master: ") + k_program +
                           " is neither beside this program nor on the search path");
        return false;
    }

    if (const String before = PersonalMasterErrors(); !before.empty())
        ostrel::LogWarning("the personal Master that was started before ended: " + before);

    Errors &errors = TheErrors();
    const std::lock_guard lock(errors.mutex);
    errors.file =
        std::make_unique<ostrel::Descriptor>(::memfd_create("corvan-master", MFD_CLOEXEC));
    String file = program.Text();
    String option = "--personal";
    const int error =
        StartDetached(file, {file.data(), option.data(), nullptr}, errors.file->Number());
    if (error != 0)
    {
        ostrel::LogWarning("cannot start a personal Master: " + file + ": " + std::strerror(error));
        return false;
    }
    ostrel::LogStatus("Started a personal Master: " + file);
    return true;
}

String PersonalMasterErrors()
{
    Errors &errors = TheErrors();
    const std::lock_guard lock(errors.mutex);
    if (!errors.file || !errors.file->IsOpen())
        return {};
    char text[4096];
    const ssize_t count = ::pread(errors.file->Number(), text, sizeof text, 0);
    return boost::algorithm::trim_copy(std::string(text, std::size_t(std::max<ssize_t>(count, 0))));
}

} // namespace corvan
