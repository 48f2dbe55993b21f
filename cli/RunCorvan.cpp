#include "cli/RunCorvan.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <set>

#include "check/CheckException.h"
#include "cli/Verb.h"
#include "corvan/CorvanApp.h"

namespace cli
{

namespace
{

constexpr const char *k_footer = "Exit status: 0 done, 1 refused or failed, 2 wrong usage, 3 no "
                                 "Master; of what looks at frames\n"
                                 "1 bad frames, 4 could not look.\n"
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

// Adds the long options of all verbs that take a value.
void AddTakers(const CLI::App &app, std::set<std::string> &takers)
{
    for (const CLI::Option *option : app.get_options())
        if (option->get_items_expected_max() > 0)
            for (const std::string &name : option->get_lnames())
                takers.insert("--" + name);
    for (const CLI::App *verb : app.get_subcommands({}))
        AddTakers(*verb, takers);
}

struct DeclaredVerb
{
    std::unique_ptr<Verb> verb;
    CLI::App *command;
};

std::vector<DeclaredVerb> DeclareVerbs(CLI::App &app)
{
    std::vector<DeclaredVerb> verbs;
    for (const auto &make : {MakeSubmit, MakeList, MakeShow, MakeSet, MakeWait, MakeLog, MakeCancel,
                             MakeWatch, MakeCheck, MakeRequeue, MakeDelete, MakePlot})
    {
        std::unique_ptr<Verb> verb = make();
        CLI::App *command = verb->Declare(app);
        command->fallthrough();
        verbs.push_back({std::move(verb), command});
    }
    return verbs;
}

ExitStatus Say(ExitStatus status, const String &text)
{
    fmt::print(stderr, "corvan: {}\n", text);
    return status;
}

// A full disk shows only when the last of the output goes out.
ExitStatus Flush(ExitStatus status, ExitStatus refusal)
{
    if (std::fflush(stdout) == 0 && !std::ferror(stdout))
        return status;
    return Say(refusal, "cannot write to standard output");
}

ExitStatus RunVerb(Verb &verb, const CommandLine &options)
{
    Client client;
    if (verb.NeedsMaster())
        client.Start(options);
    else
        client.StartAlone(options);
    return verb.Run(client);
}

// What an exception ends the program with.
ExitStatus ExitStatusOf(const ostrel::Exception &error)
{
    if (const auto *failure = dynamic_cast<const Failure *>(&error))
        return failure->Status();
    return dynamic_cast<const check::CheckException *>(&error) ? k_CannotLook : k_Refused;
}

// The whole of a verb whose arguments were read.
ExitStatus TryVerb(Verb &verb, const CommandLine &options)
{
    try
    {
        return Flush(RunVerb(verb, options), verb.RefusalStatus());
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        const ExitStatus status = ExitStatusOf(*error);
        return Say(status == k_Refused ? verb.RefusalStatus() : status, error->Text());
    }
}

} // namespace

std::vector<std::string> JoinNegativeValues(const CLI::App &app,
                                            const std::vector<std::string> &arguments)
{
    std::set<std::string> takers;
    AddTakers(app, takers);
    std::vector<std::string> joined;
    bool isPlain = false;
    for (const std::string &argument : arguments)
    {
        if (!isPlain && !joined.empty() && takers.contains(joined.back()) && IsNegative(argument))
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
        arguments = JoinNegativeValues(app, arguments);
        std::reverse(arguments.begin(), arguments.end()); // As CLI11 takes them.
        app.parse(arguments);
        for (const auto &[verb, command] : verbs)
            if (command->parsed())
                return TryVerb(*verb, options.Given());
    }
    catch (const CLI::ParseError &error)
    {
        const bool isHelp = app.exit(error) == int(CLI::ExitCodes::Success);
        return isHelp ? Flush(k_Done, k_Refused) : k_WrongUsage;
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        return Say(k_WrongUsage, error->Text());
    }
    return k_WrongUsage;
}

} // namespace cli
