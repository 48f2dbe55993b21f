#include "cli/RunCorvan.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <fmt/format.h>

#include "cli/Verb.h"
#include "corvan/CorvanApp.h"

namespace cli
{

namespace
{

constexpr const char *k_footer =
    "Exit status: 0 done, 1 refused or failed, 2 wrong usage, 3 no Master.\n"
    "'corvan VERB --help' tells more of a verb.";

// The options that every program of the system takes, kept for the libraries to read.
class CommonOptionsOf
{
public:
    explicit CommonOptionsOf(CLI::App &app)
    {
        for (const ostrel::CommandLineOption &option : ostrel::CommonOptions())
            if (!option.value.empty())
                app.add_option("--" + option.name, option.help)->type_name(option.value);
        m_app = &app;
    }

    CommandLine Given() const
    {
        std::vector<String> arguments;
        for (const ostrel::CommandLineOption &option : ostrel::CommonOptions())
            if (!option.value.empty())
                for (const std::string &value : m_app->get_option("--" + option.name)->results())
                    arguments.push_back("--" + option.name + "=" + value);
        return CommandLine(arguments, ostrel::CommonOptions());
    }

private:
    CLI::App *m_app;
};

bool IsNegative(const std::string &text)
{
    return text.size() > 1 && text[0] == '-' && text[1] >= '0' && text[1] <= '9';
}

struct DeclaredVerb
{
    std::unique_ptr<Verb> verb;
    CLI::App *command;
};

std::vector<DeclaredVerb> DeclareVerbs(CLI::App &app)
{
    std::vector<DeclaredVerb> verbs;
    for (const auto &make :
         {MakeSubmit, MakeList, MakeShow, MakeSet, MakeWait, MakeLog, MakeCancel, MakeWatch})
    {
        std::unique_ptr<Verb> verb = make();
        CLI::App *command = verb->Declare(app);
        command->fallthrough();
        verbs.push_back({std::move(verb), command});
    }
    return verbs;
}

ExitStatus RunVerb(Verb &verb, const CommandLine &options)
{
    Client client;
    client.Start(options);
    return verb.Run(client);
}

// A full disk shows only when the last of the output goes out.
ExitStatus Flush(ExitStatus status)
{
    if (std::fflush(stdout) == 0 && !std::ferror(stdout))
        return status;
    fmt::print(stderr, "corvan: cannot write to standard output\n");
    return k_Refused;
}

ExitStatus Report(ostrel::Exception *raw)
{
    const std::unique_ptr<ostrel::Exception> error(raw);
    fmt::print(stderr, "corvan: {}\n", error->Text());
    const auto *failure = dynamic_cast<const Failure *>(error.get());
    return failure ? failure->Status() : k_Refused;
}

} // namespace

std::vector<std::string> JoinNegativeRange(const std::vector<std::string> &arguments)
{
    std::vector<std::string> joined;
    bool isPlain = false;
    for (const std::string &argument : arguments)
    {
        if (!isPlain && !joined.empty() && joined.back() == "--range" && IsNegative(argument))
            joined.back() += "=" + argument;
        else
            joined.push_back(argument);
        isPlain = isPlain || argument == "--";
    }
    return joined;
}

ExitStatus RunCorvan(std::vector<std::string> arguments)
{
    CLI::App app("Talks to the Master of the render farm.", "corvan");
    app.set_version_flag("--version", corvan::CorvanApp::Version());
    app.require_subcommand(1);
    app.footer(k_footer);
    const CommonOptionsOf options(app);
    const std::vector<DeclaredVerb> verbs = DeclareVerbs(app);

    try
    {
        arguments = JoinNegativeRange(arguments);
        std::reverse(arguments.begin(), arguments.end()); // As CLI11 takes them.
        app.parse(arguments);
        for (const auto &[verb, command] : verbs)
            if (command->parsed())
                return Flush(RunVerb(*verb, options.Given()));
    }
    catch (const CLI::ParseError &error)
    {
        const bool isHelp = app.exit(error) == int(CLI::ExitCodes::Success);
        return isHelp ? Flush(k_Done) : k_WrongUsage;
    }
    catch (ostrel::Exception *error)
    {
        return Report(error);
    }
    return k_WrongUsage;
}

} // namespace cli
