#include "master/run/Orphans.h"

#include <csignal>
#include <mutex>
#include <set>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "keeper/Descendants.h"

namespace master
{

namespace
{

// What a process has one of, whichever thread starts children.
struct Family
{
    std::mutex lock;
    std::set<pid_t> own;
    bool mayHaveOrphans = false;
};

Family &TheFamily()
{
    static Family family;
    return family;
}

std::string HowItEnded(int status)
{
    if (WIFSIGNALED(status))
        return "was ended by signal " + std::to_string(WTERMSIG(status));
    return WEXITSTATUS(status) == 0 ? "" : "ended with " + std::to_string(WEXITSTATUS(status));
}

} // namespace

void AdoptOrphans()
{
    Family &family = TheFamily();
    const std::lock_guard lock(family.lock);
    int adopts = 0;
    if (::prctl(PR_GET_CHILD_SUBREAPER, &adopts) == 0 && adopts != 0)
        return;
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    for (const keeper::Descendant &one : keeper::ListDescendants())
        if (one.parent == ::getpid())
            family.own.insert(one.process);
}

pid_t StartChild(const std::function<pid_t()> &start)
{
    Family &family = TheFamily();
    // Until it is noted it looks like an orphan.
    const std::lock_guard lock(family.lock);
    // Nothing is to go wrong from when it is there.
    auto entry = std::set<pid_t>{0}.extract(0);
    entry.value() = start();
    const pid_t child = entry.value();
    family.own.insert(std::move(entry));
    return child;
}

std::optional<std::string> TryCollectChild(pid_t child)
{
    siginfo_t info{};
    if (::waitid(P_PID, id_t(child), &info, WEXITED | WNOWAIT | WNOHANG) == 0 && info.si_pid == 0)
        return std::nullopt;
    Family &family = TheFamily();
    // Another may get its number from when it is collected.
    const std::lock_guard lock(family.lock);
    int status = 0;
    ::waitpid(child, &status, 0);
    family.own.erase(child);
    std::string how = HowItEnded(status);
    family.mayHaveOrphans = family.mayHaveOrphans || !how.empty();
    return how;
}

bool KillOrphans()
{
    Family &family = TheFamily();
    const std::lock_guard lock(family.lock);
    if (!family.mayHaveOrphans)
        return true;
    const std::vector<keeper::Descendant> orphans = keeper::ListDescendants(family.own);
    for (const keeper::Descendant &one : orphans)
        keeper::SendSignal(one, SIGKILL);
    // Collected, one gives its children to this process.
    for (const keeper::Descendant &one : orphans)
        if (one.parent == ::getpid())
            ::waitpid(one.process, nullptr, WNOHANG);
    family.mayHaveOrphans = !orphans.empty();
    return orphans.empty();
}

} // namespace master
