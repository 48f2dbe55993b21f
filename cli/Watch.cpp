#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <unistd.h>

#include "cli/FindJob.h"
#include "cli/JobTexts.h"
#include "cli/Patterns.h"
#include "cli/SubmitJob.h"
#include "cli/Verb.h"
#include "corvan/Parameters.h"
#include "corvan/SequenceDistributor.h"
#include "corvan/Utf8.h"
#include "ostrel/Folders.h"

namespace cli
{

using corvan::SequenceDistributor;

namespace
{

// A job of more frames names them in its custom range alone, which is looked for but never cut
// into tasks.
constexpr std::size_t k_most_tasks = 100'000;

// Frames that are there already, as a job: of a type that renders nothing by itself, and paused.
NewJob JobOfFrames(const String &pattern, const String &range)
{
    SequenceDistributor::Items frames;
    String reason;
    if (!SequenceDistributor::ParseRange(range, frames, &reason))
        throw new Failure(k_WrongUsage, "RANGE: " + reason);
    if (frames.empty())
        throw new Failure(k_WrongUsage,
                          "the range '" + corvan::Excerpt(range) + "' names no frame");

    NewJob job;
    job.type = "Command";
    job.patterns = {pattern};
    job.isPaused = true;
    job.range = range;
    if (frames.size() > k_most_tasks)
    {
        job.range = frames.front();
        job.settings = {{corvan::p_CustomRange, range}};
    }
    job.settings.push_back({"Program", "true"});
    return job;
}

bool IsSame(const Job &a, const Job &b)
{
    const std::array names = {corvan::p_ImageFormat, corvan::p_Range, corvan::p_CustomRange,
                              corvan::p_Status, String("Program")};
    return a.TypeString() == b.TypeString() &&
           std::all_of(names.begin(), names.end(),
                       [&](const String &name)
                       { return a.ParameterText(name, true) == b.ParameterText(name, true); });
}

// Frames that were watched before have their job already.
UID FindOrSubmit(Client &client, const JobPointer &job)
{
    UID found;
    VisitJobs(client, 0,
              [&](const JobPointer &known)
              {
                  if (IsSame(*known, *job))
                      found = known->ID();
                  return found.IsNil();
              });
    return found.IsNil() ? SubmitJob(client, job) : found;
}

// Becomes the window's program, which takes the options that were given to this one.
[[noreturn]] void OpenWindow(const CommandLine &options, const UID &job)
{
    std::vector<std::string> arguments = {(ostrel::ProgramFolder() / "ordwick").Text()};
    for (const char *name : {"master", "options", "log-file", "log-level"})
        if (options.HasOption(name))
            arguments.push_back("--" + std::string(name) + "=" + options.GetArgument(name, 0, ""));
    arguments.push_back(job.ToString());

    std::vector<char *> pointers;
    for (std::string &argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    execv(pointers[0], pointers.data());
    throw new Failure(k_Refused, "cannot start " + arguments[0] + ": " + std::strerror(errno));
}

class Watch : public Verb
{
public:
    CLI::App *Declare(CLI::App &app) override
    {
        CLI::App *verb = app.add_subcommand("watch", "open Ordwick on a job, or on frames");
        verb->add_option("JOB|PATTERN", m_subject,
                         "the job, or, with a RANGE, where the frames are: "
                         "/renders/beauty.%04d.exr, also with ####, @@@@ or $F4")
            ->required();
        m_hasRange = verb->add_option("RANGE", m_range, "the frames to look for: 1-240");
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        const UID job = *m_hasRange ? JobForFrames(client) : FindJob(client, m_subject)->ID();
        client.Stop();
        OpenWindow(client.Arguments(), job);
    }

private:
    UID JobForFrames(Client &client) const
    {
        return FindOrSubmit(client, MakeJob(JobOfFrames(NeedPattern(m_subject), m_range)));
    }

    String m_subject;
    String m_range;
    CLI::Option *m_hasRange = nullptr;
};

} // namespace

std::unique_ptr<Verb> MakeWatch()
{
    return std::make_unique<Watch>();
}

} // namespace cli
