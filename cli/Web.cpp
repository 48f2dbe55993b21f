#include <CLI/CLI.hpp>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cli/FindJob.h"
#include "cli/StandardStreams.h"
#include "cli/Verb.h"
#include "ostrel/Descriptor.h"
#include "ostrel/Folders.h"

namespace cli
{

namespace
{

const char *const k_server = "corvan-web";
const char *const k_browser = "xdg-open";

// Its options, its files and its port: all of it is quick, but the machine may be busy.
constexpr std::chrono::seconds k_start_time{20};

// A browser that runs already has the page shown at once; where it is started it may stay.
constexpr std::chrono::seconds k_browser_time{3};

/// Starts a program in a session of its own, so that it stays when this one goes. What it prints
/// goes to `output`, and what it says of itself to `errors`: whoever reads this one's must not wait
/// for that one's. Gives why it could not; empty where it runs.
String StartDetached(const String &program, const std::vector<String> &arguments, int output,
                     int errors, pid_t *started = nullptr)
{
    std::vector<char *> pointers{const_cast<char *>(program.c_str())};
    for (const String &argument : arguments)
        pointers.push_back(const_cast<char *>(argument.c_str()));
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    pid_t process = 0;
    const int error =
        posix_spawnp(&process, program.c_str(), &actions, &attributes, pointers.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (started)
        *started = process;
    return error == 0 ? String() : "cannot start " + program + ": " + std::strerror(error);
}

/// Why a program has failed that was started just now; empty where it ends well, or goes on.
String FindFailure(const String &program, pid_t process, std::chrono::milliseconds within)
{
    const ostrel::Descriptor ended(int(syscall(SYS_pidfd_open, process, 0)));
    pollfd ready{ended.Number(), POLLIN, 0};
    if (!ended.IsOpen() || poll(&ready, 1, int(within.count())) != 1)
        return {};
    int status = 0;
    if (waitpid(process, &status, 0) != process || status == 0)
        return {};
    return program + (WIFEXITED(status)
                          ? " has failed with status " + std::to_string(WEXITSTATUS(status))
                          : " was ended by signal " + std::to_string(WTERMSIG(status)));
}

/// Beside this program, else on the search path.
String ServerProgram()
{
    const ostrel::Path beside = ostrel::ProgramFolder() / k_server;
    return access(beside.Text().c_str(), X_OK) == 0 ? beside.Text() : String(k_server);
}

/// What is written to a pipe until a whole line begins with `last`, or all of it; no longer than
/// the server may take to start.
std::string ReadUntil(int end, const std::string &last)
{
    const auto deadline = std::chrono::steady_clock::now() + k_start_time;
    std::string text;
    for (;;)
    {
        if (const std::size_t begin = text.find("\n" + last);
            begin != std::string::npos && text.find('\n', begin + 1) != std::string::npos)
            return text;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd ready{end, POLLIN, 0};
        if (left.count() <= 0 || (poll(&ready, 1, int(left.count())) < 0 && errno != EINTR))
            return text;
        char piece[4096];
        const ssize_t count = ready.revents != 0 ? read(end, piece, sizeof piece) : -1;
        if (count == 0)
            return text;
        if (count > 0)
            text.append(piece, std::size_t(count));
    }
}

/// The rest of the line that begins so; empty where there is none.
String LineOf(const std::string &text, const std::string &beginning)
{
    const std::size_t begin = text.find("\n" + beginning);
    if (begin == std::string::npos)
        return {};
    const std::size_t from = begin + 1 + beginning.size();
    return text.substr(from, text.find('\n', from) - from);
}

/// A file of this user's own that leads a browser to the link: arguments of a program can be read
/// by everybody on the machine, and the link opens the page.
String MakeWayTo(const String &link)
{
    ostrel::MakePrivateFolder(ostrel::RuntimeFolder());
    const String file = (ostrel::RuntimeFolder() / "corvan-web.html").Text();
    unlink(file.c_str());
    const ostrel::Descriptor out(
        open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    const std::string page =
        fmt::format("<!doctype html>\n<meta charset=\"utf-8\">\n<title>Ordwick</title>\n"
                    "<meta http-equiv=\"refresh\" content=\"0; url={0}\">\n"
                    "<a href=\"{0}\">Ordwick</a>\n",
                    link);
    if (!out.IsOpen() || write(out.Number(), page.data(), page.size()) != ssize_t(page.size()))
        throw new Failure(k_Refused, "cannot write " + file + ": " + std::strerror(errno));
    return file;
}

bool HasBrowser()
{
    const auto isSet = [](const char *name)
    {
        const char *value = std::getenv(name);
        return value && *value;
    };
    return isSet("DISPLAY") || isSet("WAYLAND_DISPLAY");
}

class Web : public Verb
{
public:
    CLI::App *Declare(CLI::App &app) override
    {
        CLI::App *verb = app.add_subcommand(
            "web", "show jobs and their frames in the browser, by a server of your own");
        verb->add_option("JOB", m_job, k_JobHelp);
        auto *print = verb->add_flag("--print", m_isPrinted,
                                     "print the link, which is good once, and open no browser");
        verb->add_flag("--print-token", m_isTokenPrinted,
                       "print the address and the token for scripts, and open no browser")
            ->excludes(print);
        return verb;
    }

    bool NeedsMaster() const override
    {
        return !m_job.empty();
    }

    ExitStatus Run(Client &client) override
    {
        const std::string said = StartServer(ArgumentsFor(client));
        const String link = LineOf(said, "link: ");
        const String token = LineOf(said, "token: ");
        if (link.empty() || token.empty())
            throw new Failure(k_Refused, String(k_server) + " has not started; see above");

        if (m_isTokenPrinted)
            Print(String(link.substr(0, link.find('/', link.find("//") + 2))) + "\n" + token);
        else if (m_isPrinted || !HasBrowser() || !OpenBrowser(link))
            Print(link);
        return k_Done;
    }

private:
    std::vector<String> ArgumentsFor(Client &client) const
    {
        std::vector<String> arguments;
        if (!m_job.empty())
            arguments.insert(arguments.end(), {"--job", FindJob(client, m_job)->ID().ToString()});
        const CommandLine &given = client.Arguments();
        if (given.HasOption("master"))
            arguments.insert(arguments.end(), {"--master", given.GetArgument("master", 0, "")});
        // The way to the Master is the command line's.
        const String options = client.Options().Filename().Text();
        if (given.HasOption("options") || access(options.c_str(), R_OK) == 0)
            arguments.insert(arguments.end(), {"--options", options});
        return arguments;
    }

    static std::string StartServer(const std::vector<String> &arguments)
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw new Failure(k_Refused, String("cannot make a pipe: ") + std::strerror(errno));
        const ostrel::Descriptor readEnd(ends[0]);
        auto writeEnd = std::make_unique<ostrel::Descriptor>(ends[1]);
        if (const String reason = StartDetached(ServerProgram(), arguments, ends[1], STDERR_FILENO);
            !reason.empty())
            throw new Failure(k_Refused, reason);
        writeEnd.reset();
        return ReadUntil(ends[0], "token: ");
    }

    // False, after a line that says why, where there is none.
    static bool OpenBrowser(const String &link)
    {
        const ostrel::Descriptor nothing(open("/dev/null", O_WRONLY | O_CLOEXEC));
        pid_t process = 0;
        String reason = StartDetached(k_browser, {"file://" + MakeWayTo(link)}, nothing.Number(),
                                      nothing.Number(), &process);
        if (reason.empty())
            reason = FindFailure(k_browser, process, k_browser_time);
        if (reason.empty())
            fmt::print(stderr, "the page opens in the browser; --print prints its link\n");
        else
            fmt::print(stderr, "{}; open this link:\n", reason);
        return reason.empty();
    }

    static void Print(const String &text)
    {
        if (const String reason = PrintWhatMatters(text + "\n"); !reason.empty())
            throw new Failure(k_Refused, reason);
    }

    std::string m_job;
    bool m_isPrinted = false;
    bool m_isTokenPrinted = false;
};

} // namespace

std::unique_ptr<Verb> MakeWeb()
{
    return std::make_unique<Web>();
}

} // namespace cli
