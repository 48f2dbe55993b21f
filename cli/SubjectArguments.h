#pragma once

#include <map>
#include <string>
#include <vector>

#include "check/CheckSubject.h"
#include "cli/FindJob.h"

namespace CLI
{
class App;
}

namespace cli
{

using check::CheckSubject;

/// The arguments that name the frames that a verb is about, and the finding of them.
class SubjectArguments
{
public:
    /// `what` is said in the help: "check", "plot". With `patternsToo` the verb takes patterns in
    /// place of a job, else a job alone.
    enum class Takes
    {
        JobAlone,
        JobOrPatterns,
    };
    void Declare(CLI::App &verb, Takes takes);

    bool IsJob() const
    {
        return !m_job.empty();
    }

    /// What was named. Throws `Failure *`: wrong usage, where the arguments contradict each other,
    /// name no job, no frame or no pattern. Throws `check::CheckException *` where the job has
    /// nothing to look for.
    CheckSubject Find(Client &client) const;

private:
    void NeedSense() const;
    CheckSubject FindFramesOfJob(Client &client) const;
    CheckSubject FindFramesOfPatterns() const;

    std::string m_job;
    std::vector<std::string> m_patterns;
    std::string m_range;
    std::string m_formatIndex;
    /// By their option; empty where not given.
    std::map<std::string, std::string> m_renumbering;
};

} // namespace cli
