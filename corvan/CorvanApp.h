#pragma once

#include "ostrel/Application.h"
#include "ostrel/CommandLine.h"
#include "ostrel/OptionsFile.h"
#include "ostrel/PathMap.h"

namespace corvan
{

using ostrel::CommandLine;
using ostrel::OptionsFile;
using ostrel::Path;
using ostrel::String;

/// A program of the farm: its name, its log, its options. Main thread.
///
/// Its own search folders are $XDG_CONFIG_HOME/NAME, then /etc/NAME; the options file is NAME.ini.
/// The log is NAME/NAME.log in the user's state folder, or what --log-file says; --log-level is
/// that file's level, the console keeps its own.
///
/// The path map is section "PathMap" of the options. Where they have none it is that of the command
/// line's ("Corvan.ini" in its search folders): what it is told of paths holds for the programs
/// that it starts. Not so where --options names a file, which says all.
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

    /// Where the options are kept: NAME/NAME.ini in the user's configuration folder. Called once,
    /// at start-up, after `File::s_AltPaths` was set and before the options are read, also where
    /// --options names another file.
    virtual Path OptionsFilename() const;

    static const char *Version();

protected:
    /// Opens the log, sets the search folders, and reads the options (those of --options where it
    /// is given) and the path map. False, with the reason logged as fatal, for a bad --log-level;
    /// all else is done even then.
    bool StartCorvan(const CommandLine &commandLine);

private:
    bool StartLog(const CommandLine &commandLine);
    void ReadOptions(const CommandLine &commandLine);
    ostrel::PathMap FindPathMap(const CommandLine &commandLine) const;

    int m_consoleLevel;
    int m_fileLevel;
    OptionsFile m_options{true};
};

} // namespace corvan
