#pragma once

#include "ostrel/Application.h"
#include "ostrel/CommandLine.h"
#include "ostrel/OptionsFile.h"

namespace corvan
{

using ostrel::CommandLine;
using ostrel::OptionsFile;
using ostrel::Path;
using ostrel::String;

/// A program of the farm: its name, its log, its options.
///
/// Its own search folders are $XDG_CONFIG_HOME/NAME, then /etc/NAME; the options file is NAME.ini.
class CorvanApp : public ostrel::Application
{
public:
    /// The log levels are the console's and the log file's, where the command line says nothing.
    CorvanApp(String name, int consoleLevel, int fileLevel);
    ~CorvanApp() override;

    /// The running program; null before it is made.
    static CorvanApp *Get();

    /// The program's options. Read at start-up.
    OptionsFile &Options()
    {
        return m_options;
    }

    /// Where the options are kept: NAME.ini in the user's own folder. Called once, at start-up,
    /// after `File::s_AltPaths` was set.
    virtual Path OptionsFilename() const;

    static const char *Version();

protected:
    /// Opens the log, sets the search folders and reads the options (those of --options where it
    /// is given), and the path map.
    void StartCorvan(const CommandLine &commandLine);

private:
    int m_consoleLevel;
    int m_fileLevel;
    OptionsFile m_options{true};
};

} // namespace corvan
