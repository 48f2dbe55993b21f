#include "cli/RunCorvan.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fmt/format.h>
#include <set>

#include "check/CheckException.h"
#include "cli/ShownText.h"
#include "cli/StandardStreams.h"
#include "cli/UsageText.h"
#include "cli/Verb.h"
#include "corvan/CorvanApp.h"

namespace cli
{

namespace
{

std::string Footer()
{
    std::string text = "Exit status:\n";
    for (const auto &[status, meaning] : k_ExitStatuses)
        text += fmt::format("  {} {}\n", int(status), meaning);
    return text + "'corvan VERB --help' tells more of a verb.";
}

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
                    arguments.insert(arguments.end(), {"--" + option.name, value});
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
    for (const auto &make :
         {MakeSubmit, MakeList, MakeShow, MakeSet, MakeWait, MakeLog, MakeCancel, MakeRemove,
          MakeWatch, MakeCheck, MakeRequeue, MakeDelete, MakePlot, MakeSeal, MakeNodes, MakeWeb})
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
    fmt::print(stderr, "corvan: {}\n", ShownText(text, Lines::Many));
    return status;
}

// A full disk shows only when the last of the output goes out.
ExitStatus Flush(ExitStatus status, ExitStatus refusal)
{
    const String reason = FlushOutput();
    return reason.empty() ? status : Say(refusal, reason);
}

ExitStatus RefuseArguments(const CLI::App &app, const CLI::ParseError &error,
                           const std::vector<std::string> &arguments)
{
    const auto parsed = app.get_subcommands();
    Say(k_WrongUsage, UsageText(app, error, arguments));
    fmt::print(stderr, "'corvan {}--help' tells more.\n",
               parsed.empty() ? "" : parsed.front()->get_name() + " ");
    return k_WrongUsage;
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
    catch (const std::system_error &error)
    {
        // Of the printing, where there is more of it than fits into one piece.
        return Say(verb.RefusalStatus(), error.what());
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
    app.footer(Footer());
    const CommonOptionsOf options(app);
    const std::vector<DeclaredVerb> verbs = DeclareVerbs(app);

    try
    {
        arguments = JoinNegativeValues(app, arguments);
        // As CLI11 takes them.
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
        for (const auto &[verb, command] : verbs)
            if (command->parsed())
                return TryVerb(*verb, options.Given());
    }
    catch (const CLI::ParseError &error)
    {
        if (error.get_exit_code() != int(CLI::ExitCodes::Success))
            return RefuseArguments(app, error, arguments);
        app.exit(error);
        return Flush(k_Done, k_Refused);
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        return Say(k_WrongUsage, error->Text());
    }
    return k_WrongUsage;
}

} // namespace cli
