#pragma once

#include <optional>
#include <string>

#include "cli/VisitJobs.h"

namespace cli
{

/// Which of the jobs a text names: by its whole identifier, by its exact name, or by the beginning
/// of its identifier (4 characters or more, in any case). The identifier goes before the name, that
/// before the beginning. A requeue bears the name of its origin: a name means a requeue only where
/// no other job has it.
class JobPick
{
public:
    explicit JobPick(const String &text);

    /// Shows it one job of many.
    void Consider(const JobPointer &job);

    /// Nothing, with the reason in `*reason`, when no job or more than one fits.
    std::optional<JobPointer> Picked(String *reason) const;

private:
    struct Fitting
    {
        void Add(const JobPointer &job);

        std::size_t count = 0;
        JobPointer first;
    };

    String m_text;
    std::string m_beginning;
    Fitting m_named;
    Fitting m_namedRequeues;
    Fitting m_begins;
};

/// Asks the Master for the job that a text names. Throws `Failure *`: wrong usage where no job
/// fits, or more than one.
JobPointer FindJob(Client &client, const String &text);

} // namespace cli
