#pragma once

#include <optional>
#include <string>

#include "cli/VisitJobs.h"

namespace cli
{

/// Which of the jobs a text names: by its whole identifier, by the beginning of it (4 characters or
/// more, in any case), or by its exact name. The identifier goes before the beginning, that before
/// the name.
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
    Fitting m_begins;
    Fitting m_named;
};

/// Asks the Master for the job that a text names. Throws `Failure *`.
JobPointer FindJob(Client &client, const String &text);

} // namespace cli
