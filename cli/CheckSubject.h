#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "analysis/Expansion.h"
#include "cli/CheckTable.h"
#include "cli/FindJob.h"

namespace CLI
{
class App;
class Option;
} // namespace CLI

namespace cli
{

/// The frames that a verb is about: those of a job, or of patterns over a range.
struct CheckSubject
{
    JobPointer job; ///< None for patterns.
    analysis::ExpansionInput input;
    std::vector<CheckTable> tables; ///< One a pattern, not yet filled.
};

/// The arguments that name such frames, and the finding of them.
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
    /// name no job, no frame or no pattern; could not look, where the job has nothing to look for.
    CheckSubject Find(Client &client) const;

private:
    void NeedSense() const;
    CheckSubject FindJobFrames(Client &client) const;
    CheckSubject FindPatternFrames() const;

    std::string m_job;
    std::vector<std::string> m_patterns;
    std::string m_range;
    std::string m_formatIndex;
    /// By their option; empty where not given.
    std::map<std::string, std::string> m_renumbering;
};

/// The expected frames of one table. Throws `Failure *` (could not look) where they cannot be
/// listed.
void ListFrames(const analysis::ExpansionInput &input, CheckTable &table);

} // namespace cli
