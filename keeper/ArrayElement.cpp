#include "keeper/ArrayElement.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "keeper/ArrayFolder.h"
#include "keeper/Claim.h"
#include "keeper/Descendants.h"
#include "keeper/Keeper.h"
#include "keeper/Protocol.h"
#include "keeper/Request.h"

namespace keeper
{

namespace
{

constexpr int k_failed = 1;
constexpr int k_end_each_ms = 10;

// Four looks within the time that who was taken over may go on; the last one is for the end of the
// command.
constexpr unsigned k_looks_a_lease = 4;

std::string Environment(const char *name)
{
    const char *const value = std::getenv(name);
    return value ? value : std::string();
}

std::string NodeName()
{
    if (std::string name = Environment("SLURMD_NODENAME"); !name.empty())
        return name;
    char host[256] = "";
    ::gethostname(host, sizeof host - 1);
    return host;
}

bool IsThere(const std::string &file)
{
    const int open = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (open >= 0)
        ::close(open);
    return open >= 0;
}

void Add(std::string &result, const char *name, const std::string &value)
{
    result.append(name).push_back('\0');
    result.append(value).push_back('\0');
}

// Whole or not at all.
bool WriteWhole(const std::string &file, const std::string &text)
{
    const std::string fresh = file + ".new." + std::to_string(::getpid());
    const int open = ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (open < 0)
        return false;
    const bool isWritten =
        ::write(open, text.data(), text.size()) == ssize_t(text.size()) && ::fsync(open) == 0;
    const bool isClosed = ::close(open) == 0;
    if (isWritten && isClosed && ::rename(fresh.c_str(), file.c_str()) == 0)
        return true;
    ::unlink(fresh.c_str());
    return false;
}

// One that holds a command, in a process of its own, and this one as its Master.
class Held
{
public:
    explicit Held(const std::string &request);
    ~Held();
    Held(const Held &) = delete;
    Held &operator=(const Held &) = delete;

    /// Until it is over or the claim is lost; false then. All of it has ended in either case.
    bool Wait(const Claim &claim, int beatMs);

    std::string LastReport() const;
    bool WasAsked() const
    {
        return m_wasAsked;
    }

private:
    bool TakeReports();
    void End(char order);
    void EndRest();

    int m_socket = -1;
    int m_signals = -1;
    std::string m_reports;
    bool m_wasAsked = false;
};

[[noreturn]] void BeKeeper(int master, const std::string &request)
{
    // Whoever started it may be killed; then this process ends what it holds, since the socket
    // closes.
    Request wanted;
    std::string reason = "cannot open a file";
    const int file = ::memfd_create("request", MFD_CLOEXEC);
    const bool isRead = file >= 0 &&
                        ::write(file, request.data(), request.size()) == ssize_t(request.size()) &&
                        ::lseek(file, 0, SEEK_SET) == 0 && ReadRequest(file, wanted, &reason);
    Keeper holder(master, wanted);
    if (isRead)
        holder.Run();
    else
        holder.ReportNotStarted(reason);
    ::_exit(0);
}

Held::Held(const std::string &request)
{
    int sockets[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0)
        return;
    if (::fork() == 0)
    {
        ::close(sockets[0]);
        BeKeeper(sockets[1], request);
    }
    ::close(sockets[1]);
    m_socket = sockets[0];
    // What it held becomes a child of this process where it is killed.
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        ::sigaddset(&signals, signal);
    ::sigprocmask(SIG_BLOCK, &signals, nullptr);
    m_signals = ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

Held::~Held()
{
    if (m_socket >= 0)
        ::close(m_socket);
    if (m_signals >= 0)
        ::close(m_signals);
}

bool Held::Wait(const Claim &claim, int beatMs)
{
    using Clock = std::chrono::steady_clock;
    bool isOurs = true;
    auto nextLook = Clock::now() + std::chrono::milliseconds(beatMs);
    for (;;)
    {
        const auto rest =
            std::chrono::ceil<std::chrono::milliseconds>(nextLook - Clock::now()).count();
        pollfd news[] = {{m_socket, POLLIN, 0}, {m_signals, POLLIN, 0}};
        ::poll(news, 2, int(std::clamp<long long>(rest, 0, beatMs)));
        signalfd_siginfo signal;
        while (::read(m_signals, &signal, sizeof signal) == ssize_t(sizeof signal))
        {
            m_wasAsked = true;
            End(k_End);
        }
        if (news[0].revents != 0 && !TakeReports())
        {
            EndRest();
            return isOurs && claim.IsOurs();
        }
        if (Clock::now() < nextLook)
            continue;
        nextLook = Clock::now() + std::chrono::milliseconds(beatMs);
        if (isOurs && !claim.IsOurs())
        {
            isOurs = false;
            End(k_Kill);
        }
    }
}

void Held::End(char order)
{
    ::send(m_socket, &order, 1, MSG_NOSIGNAL | MSG_DONTWAIT);
}

void Held::EndRest()
{
    for (;;)
    {
        for (const Descendant &one : ListDescendants())
            SendSignal(one, SIGKILL);
        while (::waitpid(-1, nullptr, WNOHANG) > 0)
        {
        }
        if (::waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD)
            return;
        ::poll(nullptr, 0, k_end_each_ms);
    }
}

// False once there are no more.
bool Held::TakeReports()
{
    char part[4096];
    const ssize_t count = ::recv(m_socket, part, sizeof part, 0);
    if (count < 0 && errno == EINTR)
        return true;
    if (count <= 0)
        return false;
    m_reports.append(part, std::size_t(count));
    return true;
}

// Empty where whoever held the command was killed.
std::string Held::LastReport() const
{
    const std::size_t end = m_reports.rfind('\0');
    if (end == std::string::npos)
        return {};
    const std::size_t before = end == 0 ? std::string::npos : m_reports.rfind('\0', end - 1);
    const std::size_t begin = before == std::string::npos ? 0 : before + 1;
    const std::string last = m_reports.substr(begin, end - begin);
    return !last.empty() && last.front() == k_Started ? std::string() : last;
}

// Until whoever had the element has certainly ended. False where it is not to be run after all.
bool WaitForOther(const Claim &claim, const std::string &result, unsigned leaseSeconds)
{
    for (unsigned second = 0; second < leaseSeconds; ++second)
    {
        ::poll(nullptr, 0, 1000);
        if (IsThere(result) || !claim.IsOurs())
            return false;
    }
    return true;
}

} // namespace

int RunArrayElement(const std::string &folder, const std::string &element)
{
    unsigned number = 0;
    std::from_chars(element.data(), element.data() + element.size(), number);
    std::string request;
    std::string reason;
    unsigned leaseSeconds = 0;
    if (!ReadArrayFile(folder + "/" + k_ArrayRequest, number, request, leaseSeconds, &reason))
        return k_NoRequest;
    const std::string result = folder + "/" + k_Results + "/" + std::to_string(number);
    if (IsThere(result))
        return 0;

    Claim claim(folder + "/" + k_Claims + "/" + std::to_string(number));
    const std::string node = NodeName();
    const Claim::Outcome outcome = claim.Take(node + " " + Environment("SLURM_JOB_ID") + "\n");
    if (outcome == Claim::Outcome::Failed)
        return k_failed;
    if (outcome == Claim::Outcome::Barred ||
        (outcome == Claim::Outcome::TookOver && !WaitForOther(claim, result, leaseSeconds)))
        return 0;

    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    Held held(request);
    if (!held.Wait(claim, int(std::max(1u, 1000 * leaseSeconds / k_looks_a_lease))))
        return 0;
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    std::string text;
    Add(text, k_ResultNode, node);
    Add(text, k_ResultMilliseconds, std::to_string(took.count()));
    Add(text, k_ResultReport, held.LastReport());
    Add(text, k_ResultAsked, held.WasAsked() ? "1" : "0");
    return WriteWhole(result, text) ? 0 : k_failed;
}

} // namespace keeper
