#pragma once

#include <map>
#include <span>
#include <vector>

#include "ostrel/String.h"

namespace ostrel
{

/// One option a program takes.
struct CommandLineOption
{
    String name;  ///< "master" for --master.
    String value; ///< What its value is called in the help, "ADDRESS"; empty for a plain flag.
    String help;
};

/// A program's arguments, told apart into options and plain ones.
///
/// Options may stand before or after plain arguments, as "--name value" or "--name=value"; after
/// "--" all is plain. Names are never abbreviated. With one dash an argument is a plain one
/// ("-5-3"), and what follows an option that takes a value is its value, whatever it begins with.
class CommandLine
{
public:
    CommandLine() = default;

    /// Reads the arguments (without the program's name). Throws `Exception *` that names the
    /// argument for an option that is unknown or lacks its value.
    CommandLine(std::span<const String> arguments, std::span<const CommandLineOption> options);

    /// The value of an option ("" for a flag that is there), the `index`th where it is given more
    /// than once; with no name (null) the `index`th plain argument. `defaultValue` where there is
    /// none.
    String GetArgument(const char *option, int index, const String &defaultValue) const;

    bool HasOption(const char *option) const;
    int CountPlain() const;

    /// The options as help text, one a line, aligned.
    static String Help(std::span<const CommandLineOption> options);

private:
    std::vector<String> m_plain;
    std::map<String, std::vector<String>> m_options;
};

/// The options of every program of the system: master, options, log-file, log-level, help, version.
std::span<const CommandLineOption> CommonOptions();

} // namespace ostrel
