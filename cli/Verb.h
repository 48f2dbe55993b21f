#pragma once

#include <memory>

#include "cli/Client.h"

namespace CLI
{
class App;
}

namespace cli
{

/// What can be asked of `corvan`, such as "submit". One file a verb, each with its own maker here.
class Verb
{
public:
    virtual ~Verb() = default;

    /// Adds the verb with its arguments to the command line, and tells which it is there. The
    /// parsed arguments are written into this object, which must outlive the parse.
    virtual CLI::App *Declare(CLI::App &app) = 0;

    /// Whether it has something to ask, by the arguments that were parsed.
    virtual bool NeedsMaster() const
    {
        return true;
    }

    /// What a refusal ends with, its own and those of the libraries.
    virtual ExitStatus RefusalStatus() const
    {
        return k_Refused;
    }

    /// Does it, and prints to standard output what was asked for and nothing else. What it has to
    /// say besides goes to standard error. Throws `Failure *`.
    virtual ExitStatus Run(Client &client) = 0;
};

std::unique_ptr<Verb> MakeSubmit();
std::unique_ptr<Verb> MakeList();
std::unique_ptr<Verb> MakeShow();
std::unique_ptr<Verb> MakeSet();
std::unique_ptr<Verb> MakeWait();
std::unique_ptr<Verb> MakeLog();
std::unique_ptr<Verb> MakeCancel();
std::unique_ptr<Verb> MakeRemove();
std::unique_ptr<Verb> MakeWatch();
std::unique_ptr<Verb> MakeCheck();
std::unique_ptr<Verb> MakeRequeue();
std::unique_ptr<Verb> MakeDelete();
std::unique_ptr<Verb> MakePlot();
std::unique_ptr<Verb> MakeSeal();
std::unique_ptr<Verb> MakeNodes();
std::unique_ptr<Verb> MakeWeb();

/// How JOB is explained in the help of each verb that takes one.
inline constexpr const char *k_JobHelp =
    "the job: its identifier, the beginning of it (4 digits or more), or its name";

} // namespace cli
