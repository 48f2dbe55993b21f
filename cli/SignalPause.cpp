#include "cli/SignalPause.h"

#include <csignal>
#include <unistd.h>

namespace cli
{

namespace
{

volatile std::sig_atomic_t s_status = k_Done;

void EndNow(int)
{
    _exit(s_status);
}

} // namespace

void EndWith(ExitStatus status)
{
    s_status = status;
    struct sigaction action = {};
    action.sa_handler = EndNow;
    sigfillset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaction(signal, &action, nullptr);
}

bool PauseUnlessEnded(std::chrono::milliseconds time)
{
    using namespace std::chrono;

    sigset_t ends;
    sigemptyset(&ends);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&ends, signal);
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &ends, &before);

    const auto whole = duration_cast<seconds>(time);
    const timespec wait{whole.count(), nanoseconds(time - whole).count()};
    const bool isAsked = sigtimedwait(&ends, nullptr, &wait) > 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return isAsked;
}

} // namespace cli
