#include <cstdio>
#include <exception>
#include <memory>
#include <vector>

#include "master/program/InitTlsCommand.h"
#include "master/program/MasterApp.h"
#include "master/program/StoreCommand.h"
#include "master/program/TokenCommand.h"
#include "ostrel/Log.h"

namespace
{

using master::MasterApp;
using ostrel::CommandLine;
using ostrel::String;

constexpr int k_failed = 1;
constexpr int k_wrong_usage = 2;

void PrintHelp()
{
    std::printf("Usage: corvan-master [OPTION]...\n"
                "Keeps the farm's jobs, tells their followers and runs their commands.\n\n%s\n"
                "With these arguments it does one thing and ends:\n"
                "  token add USER ROLE   make a token, and show it this once; a role is one of\n"
                "                        %s\n"
                "  token list            show whose tokens there are\n"
                "  token remove ID       remove one; who came in by it is sent away\n"
                "  init-tls DIR HOST...  make authority, certificate and key for these hosts\n"
                "  store check           tell all that is wrong with the job store\n"
                "  store backup FILE     copy it, also while a Master runs\n"
                "  store restore FILE    put such a copy in its place, while none runs\n",
                CommandLine::Help(master::MasterCommandLineOptions()).c_str(),
                master::RoleNames().c_str());
}

int Run(const std::vector<String> &arguments)
{
    std::unique_ptr<CommandLine> commandLine;
    try
    {
        commandLine = std::make_unique<CommandLine>(arguments, master::MasterCommandLineOptions());
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        throw new master::UsageException(error->Text());
    }

    if (commandLine->HasOption("help"))
        PrintHelp();
    else if (commandLine->HasOption("version"))
        std::printf("corvan-master %s\n", MasterApp::Version());
    else if (const String command = commandLine->GetArgument(nullptr, 0, {}); command == "token")
        master::RunTokenCommand(*commandLine);
    else if (command == "init-tls")
        master::RunInitTlsCommand(*commandLine);
    else if (command == master::k_StoreCommand)
        return master::RunStoreCommand(*commandLine) ? 0 : k_failed;
    else if (!MasterApp().Run(*commandLine))
        return k_wrong_usage;
    return 0;
}

// Nobody may see the standard error of a Master that was started in the background.
int Failed(const String &reason, int status)
{
    std::fprintf(stderr, "corvan-master: %s\n", reason.c_str());
    ostrel::LogBesideConsole(ostrel::k_LogFatal, reason);
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    int status = 0;
    try
    {
        status = Run({argv + 1, argv + argc});
    }
    catch (master::UsageException *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        status = Failed(error->Text(), k_wrong_usage);
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        status = Failed(error->Text(), k_failed);
    }
    catch (const std::exception &error)
    {
        status = Failed(error.what(), k_failed);
    }
    ostrel::LogStop();
    return status;
}
