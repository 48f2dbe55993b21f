#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "keeper/ArrayElement.h"
#include "keeper/Keeper.h"

// The Master's socket is kept where no command finds it, and nothing else that was open.
int main(int argc, char **argv)
{
    // On a machine of a cluster, where there is no Master to talk to.
    if (argc == 4 && std::strcmp(argv[1], "--array") == 0)
    {
        ::syscall(SYS_close_range, STDERR_FILENO + 1, ~0u, 0);
        return keeper::RunArrayElement(argv[2], argv[3]);
    }

    struct stat output
    {
    };
    if (::fstat(STDOUT_FILENO, &output) != 0 || !S_ISSOCK(output.st_mode))
    {
        std::fputs("corvan-task is started by corvan-master\n", stderr);
        return 2;
    }
    const int master = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (master < 0)
        return 1;
    if (master > STDERR_FILENO + 1)
        ::syscall(SYS_close_range, STDERR_FILENO + 1, master - 1, 0);
    ::syscall(SYS_close_range, master + 1, ~0u, 0);

    keeper::Request request;
    std::string reason;
    const bool isRead = keeper::ReadRequest(STDIN_FILENO, request, &reason);
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        ::dup2(nothing, standard);
    keeper::Keeper holder(master, request);
    if (isRead)
        holder.Run();
    else
        holder.ReportNotStarted(reason);
    return 0;
}
