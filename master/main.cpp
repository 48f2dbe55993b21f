#include <cstdio>
#include <memory>
#include <vector>

#include "master/MasterApp.h"
#include "ostrel/Log.h"

namespace
{

using master::MasterApp;
using ostrel::CommandLine;
using ostrel::String;

constexpr int k_failed = 1;
constexpr int k_wrongUsage = 2;

void PrintHelp()
{
    std::printf("Usage: corvan-master [OPTION]...\n"
                "Keeps the farm's jobs, tells their followers and runs their commands.\n\n%s",
                CommandLine::Help(master::MasterCommandLineOptions()).c_str());
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
    else if (!MasterApp().Run(*commandLine))
        return k_wrongUsage;
    return 0;
}

int Failed(const ostrel::Exception &error, int status)
{
    std::fprintf(stderr, "corvan-master: %s\n", error.Text().c_str());
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
        status = Failed(*error, k_wrongUsage);
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        status = Failed(*error, k_failed);
    }
    ostrel::LogStop();
    return status;
}
