#include "keeper/Keeper.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "keeper/Descendants.h"
#include "keeper/Protocol.h"
#include "keeper/User.h"

namespace keeper
{

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace
{

constexpr milliseconds k_look_each{200};
constexpr milliseconds k_end_each{10};
constexpr seconds k_long_end{10};

// Signals are read where the loop has time for them.
int OpenSignals()
{
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : {SIGCHLD, SIGTERM, SIGINT, SIGHUP})
        ::sigaddset(&signals, signal);
    ::sigprocmask(SIG_BLOCK, &signals, nullptr);
    return ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

} // namespace

void Keeper::Run()
{
    Outputs outputs(m_request.outputs, m_request.keepsOld != 0);
    std::string reason;
    if (!Begin(&reason))
    {
        ReportNotStarted(reason);
        return;
    }
    // Before a folder is made.
    if (const Place place = FindPlaces(&reason); place != Place::Within)
    {
        Report(place == Place::Outside ? k_Outside : k_NotStarted, reason);
        return;
    }
    if (!Start(outputs, &reason))
    {
        outputs.PutBack();
        ReportNotStarted(reason);
        return;
    }
    Report(k_Started, {});
    Hold();

    if (m_why.empty() && m_group.HadTooMuchMemory())
        m_why = MemoryReason();
    const int code = WIFEXITED(m_status) ? WEXITSTATUS(m_status) : -1;
    if (code == 0 && m_why.empty() && m_isMasterThere)
        m_why = outputs.FindFault();
    const std::string putBack = outputs.PutBack();
    if (!m_why.empty())
        m_log.Append("corvan-task: " + m_why + "\n");
    if (!putBack.empty())
        m_log.Append("corvan-task: " + putBack);
    Report(k_Ended, std::to_string(code) + " " + m_why);
}

// What belongs to the Master is opened by its user; all that follows is done by the command's.
bool Keeper::Begin(std::string *reason)
{
    return m_log.Open(m_request.log, m_request.logBytes, reason) && BecomeUser(m_request, reason);
}

Place Keeper::FindPlaces(std::string *reason)
{
    for (RootedPath rooted : m_request.rooted)
    {
        if (!rooted.path.starts_with('/'))
            rooted.path = m_request.folder + "/" + rooted.path;
        if (const Place place = FindPlace(rooted, reason); place != Place::Within)
            return place;
    }
    if (m_request.outputRoots.empty())
        return Place::Within;
    for (const auto *files : {&m_request.places, &m_request.outputs})
    {
        const Place place = FindPlaceOfAll(
            "ImageFormat", *files, m_request.outputRoots, [this] { return IsOver(); }, reason);
        if (place != Place::Within)
            return place;
    }
    return Place::Within;
}

bool Keeper::Start(Outputs &outputs, std::string *reason)
{
    if (!CanListChildren() || ::prctl(PR_SET_CHILD_SUBREAPER, 1) != 0)
    {
        *reason = "this system does not tell which processes a process has started";
        return false;
    }
    m_signals = OpenSignals();
    if (m_signals < 0)
    {
        *reason = std::string("cannot wait for signals: ") + std::strerror(errno);
        return false;
    }
    for (const std::string &place : m_request.places)
        if (!MakeFolderOf(place, reason))
            return false;
    if (!outputs.Prepare([this] { return IsOver(); }, reason) ||
        !StartCommand(m_request, m_group, m_command, reason))
        return false;
    m_began = m_nextLook = Clock::now();
    return true;
}

void Keeper::ReportNotStarted(const std::string &reason)
{
    Report(k_NotStarted, reason);
}

// Until nothing of the command is left.
void Keeper::Hold()
{
    while (!m_isEmpty)
    {
        WaitForNews();
        CollectChildren();
        if (m_isEmpty)
            break;
        if (m_isEnding)
            EndDescendants();
        else
            WatchLimits();
    }
    CopyOutput();
    if (m_command.output >= 0)
        ::close(m_command.output);
}

void Keeper::WaitForNews()
{
    // A negative number is passed over.
    pollfd news[] = {{m_isMasterThere ? m_master : -1, POLLIN, 0},
                     {m_signals, POLLIN, 0},
                     {m_command.output, POLLIN, 0}};
    if (::poll(news, std::size(news), MillisecondsToNext()) <= 0)
        return;
    if (news[0].revents != 0)
        ReadOrders();
    for (signalfd_siginfo signal;
         ::read(m_signals, &signal, sizeof signal) == ssize_t(sizeof signal);)
        if (signal.ssi_signo != SIGCHLD)
            End({});
    if (news[2].revents != 0)
        CopyOutput();
}

void Keeper::ReadOrders()
{
    char order = k_End;
    const ssize_t count = ::recv(m_master, &order, 1, MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count <= 0)
        m_isMasterThere = false;
    End({});
    if (count > 0 && order == k_Kill)
        m_killAt = Clock::now();
}

// Before there is a command.
bool Keeper::IsOver()
{
    pollfd news{m_master, POLLIN, 0};
    if (!m_isEnding && ::poll(&news, 1, 0) > 0)
        ReadOrders();
    return m_isEnding;
}

void Keeper::CollectChildren()
{
    int status = 0;
    pid_t child = 0;
    while ((child = ::waitpid(-1, &status, WNOHANG)) > 0)
    {
        if (child != m_command.process)
            continue;
        m_status = status;
        m_command.process = -1;
        // What it leaves behind goes with it.
        End({});
    }
    m_isEmpty = child < 0 && errno == ECHILD;
}

void Keeper::CopyOutput()
{
    char part[65536];
    // Not for ever: orders are to be read, too.
    for (int round = 0; round < 16 && m_command.output >= 0; ++round)
    {
        const ssize_t count = ::read(m_command.output, part, sizeof part);
        if (count < 0 && errno == EAGAIN)
            return;
        if (count > 0)
        {
            m_log.Append({part, std::size_t(count)});
            continue;
        }
        ::close(m_command.output);
        m_command.output = -1;
    }
}

void Keeper::WatchLimits()
{
    const Clock::time_point now = Clock::now();
    if (m_request.seconds > 0 && now - m_began >= seconds(m_request.seconds))
        return End("it took longer than " + std::to_string(m_request.seconds) + " seconds");
    if ((m_request.memoryBytes == 0 && m_request.processes == 0) || now < m_nextLook)
        return;

    m_nextLook = now + k_look_each;
    const std::vector<Descendant> all = ListDescendants();
    if (m_request.processes > 0 && (long long)all.size() > m_request.processes)
        return End("it had more than " + std::to_string(m_request.processes) + " processes");
    if (m_request.memoryBytes > 0 && MemoryOf(all) > m_request.memoryBytes)
        End(MemoryReason());
}

std::string Keeper::MemoryReason() const
{
    return "it took more memory than " + std::to_string(m_request.memoryBytes >> 20) + " MiB";
}

void Keeper::End(const std::string &why)
{
    if (m_isEnding)
        return;
    m_isEnding = true;
    m_why = why;
    m_killAt = Clock::now() + milliseconds(m_request.patienceMs);
}

void Keeper::EndDescendants()
{
    const Clock::time_point now = Clock::now();
    const bool kills = now >= m_killAt;
    if (kills)
        m_group.Kill();
    for (const Descendant &one : ListDescendants())
    {
        if (kills)
        {
            SendSignal(one, SIGKILL);
        }
        else if (m_asked.insert(one.process).second)
        {
            SendSignal(one, SIGTERM);
            SendSignal(one, SIGCONT);
        }
    }
    if (m_isLongEnd || now < m_killAt + k_long_end)
        return;
    m_isLongEnd = true;
    m_log.Append("corvan-task: waiting for processes that do not end though they are killed\n");
}

int Keeper::MillisecondsToNext() const
{
    const Clock::time_point now = Clock::now();
    if (m_isEnding)
    {
        if (m_isLongEnd)
            return 1000;
        const auto toKill = std::chrono::ceil<milliseconds>(m_killAt - now);
        return int(std::clamp(toKill, k_end_each, 10 * k_end_each).count());
    }
    milliseconds next{24 * 3600 * 1000};
    if (m_request.seconds > 0)
        next = std::min(
            next, std::chrono::ceil<milliseconds>(m_began + seconds(m_request.seconds) - now));
    if (m_request.memoryBytes > 0 || m_request.processes > 0)
        next = std::min(next, std::chrono::ceil<milliseconds>(m_nextLook - now));
    return int(std::max(next, milliseconds(0)).count());
}

void Keeper::Report(char what, const std::string &text)
{
    const std::string report = what + text + '\0';
    for (std::size_t sent = 0; sent < report.size();)
    {
        const ssize_t count =
            ::send(m_master, report.data() + sent, report.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return; // Nobody is there any more.
        sent += std::size_t(count);
    }
}

} // namespace keeper
