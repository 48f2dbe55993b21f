#include "corvan/CorvanApp.h"

#include <unistd.h>

#include "corvan/Utf8.h"
#include "ostrel/File.h"
#include "ostrel/Folders.h"
#include "ostrel/Log.h"

namespace corvan
{

namespace
{

const String k_command_line = "Corvan"; // The name of the program `corvan`.

} // namespace

CorvanApp::CorvanApp(String name, int consoleLevel, int fileLevel)
    : Application(std::move(name)), m_consoleLevel(consoleLevel), m_fileLevel(fileLevel)
{
}

CorvanApp::~CorvanApp() = default;

CorvanApp *CorvanApp::Get()
{
    return dynamic_cast<CorvanApp *>(Application::Get());
}

Path CorvanApp::OptionsFilename() const
{
    return ostrel::ConfigFolder() / Name() / (Name() + ".ini");
}

const char *CorvanApp::Version()
{
    return ORDWICK_VERSION;
}

bool CorvanApp::StartCorvan(const CommandLine &commandLine)
{
    const bool isLogFine = StartLog(commandLine);
    ReadOptions(commandLine);
    Path::SetMap(FindPathMap(commandLine));
    return isLogFine;
}

bool CorvanApp::StartLog(const CommandLine &commandLine)
{
    const Path usual = ostrel::StateFolder() / Name() / (Name() + ".log");
    const String level = commandLine.GetArgument("log-level", 0, "");
    const bool isLevel = level.size() == 1 && level[0] >= '0' && level[0] <= '6';

    ostrel::LogSettings settings;
    settings.consoleLevel = m_consoleLevel;
    settings.fileLevel = isLevel ? level[0] - '0' : m_fileLevel;
    settings.file = commandLine.GetArgument("log-file", 0, usual.Text());
    settings.isOwnFile = !commandLine.HasOption("log-file");
    ostrel::LogStart(settings);

    if (isLevel || !commandLine.HasOption("log-level"))
        return true;
    ostrel::LogFatal("--log-level takes a number from 0 (nothing) to 6 (every call), not \"" +
                     Excerpt(level) + "\"");
    return false;
}

void CorvanApp::ReadOptions(const CommandLine &commandLine)
{
    ostrel::File::s_AltPaths = {ostrel::ConfigFolder() / Name(), Path("/etc") / Name()};
    // Called in any case: a program adds search folders here.
    Path filename = OptionsFilename();
    if (commandLine.HasOption("options"))
    {
        filename = commandLine.GetArgument("options", 0, "");
        m_options.ForgetFolders();
        if (access(filename.Text().c_str(), F_OK) != 0)
            ostrel::LogWarning("options: there is no " + filename.Text() + "; the defaults count");
    }
    m_options.SetFilename(filename);
    m_options.ReadIn(); // What is wrong with it is logged; the program then has its defaults.
}

ostrel::PathMap CorvanApp::FindPathMap(const CommandLine &commandLine) const
{
    if (m_options.HasSection("PathMap") || commandLine.HasOption("options") ||
        Name() == k_command_line)
        return ostrel::PathMap(m_options);
    for (const Path &folder : {ostrel::ConfigFolder(), Path("/etc")})
    {
        const Path file = folder / k_command_line / (k_command_line + ".ini");
        if (access(file.Text().c_str(), F_OK) != 0)
            continue;
        OptionsFile options(false);
        options.SetFilename(file);
        options.ReadIn();
        return ostrel::PathMap(options);
    }
    return {};
}

} // namespace corvan
