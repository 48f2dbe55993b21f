#include <cstdio>
#include <exception>
#include <malloc.h>
#include <memory>
#include <unistd.h>
#include <vector>

#include "ostrel/DiskThreads.h"
#include "ostrel/Log.h"
#include "web/program/WebApp.h"

namespace
{

using ostrel::String;
using web::WebApp;

constexpr int k_failed = 1;
constexpr int k_wrong_usage = 2;

void PrintHelp()
{
    std::printf("Usage: corvan-web [OPTION]...\n"
                "Shows the farm's jobs and their frames in a browser, and does for its users what "
                "they may.\n\n"
                "Without --listen it is its user's own, on a free port of this machine, until it "
                "was idle for\n10 minutes.\n\n%s",
                web::CommandLine::Help(web::WebCommandLineOptions()).c_str());
}

int Run(const std::vector<String> &arguments)
{
    std::unique_ptr<web::CommandLine> commandLine;
    try
    {
        commandLine = std::make_unique<web::CommandLine>(arguments, web::WebCommandLineOptions());
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        throw new web::UsageException(error->Text());
    }

    if (commandLine->HasOption("help"))
        PrintHelp();
    else if (commandLine->HasOption("version"))
        std::printf("corvan-web %s\n", WebApp::Version());
    else if (!WebApp().Run(*commandLine))
        return k_wrong_usage;
    return 0;
}

int Failed(const String &reason, int status)
{
    std::fprintf(stderr, "corvan-web: %s\n", reason.c_str());
    return status;
}

int RunCaught(const std::vector<String> &arguments)
{
    try
    {
        return Run(arguments);
    }
    catch (web::UsageException *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        return Failed(error->Text(), k_wrong_usage);
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        return Failed(error->Text(), k_failed);
    }
    catch (const std::exception &error)
    {
        return Failed(error.what(), k_failed);
    }
}

} // namespace

int main(int argc, char **argv)
{
    // Each pass has threads of its own, and each of those a heap of its own otherwise, which keeps
    // what it has had: the program would grow for hours.
    mallopt(M_ARENA_MAX, 1);
    const int status = RunCaught({argv + 1, argv + argc});
    // Nothing gets a thread out of a look at a disk that hangs, and what ends with the program is
    // not to go away under one that wakes up.
    if (ostrel::DiskThreads::AreLeft())
    {
        std::fflush(nullptr);
        ::_exit(status);
    }
    return status;
}
