#pragma once

#include <boost/shared_ptr.hpp>
#include <optional>
#include <span>

#include "cli/Client.h"
#include "corvan/Job.h"

namespace cli
{

using corvan::Job;
using JobPointer = boost::shared_ptr<Job>;

/// Which of the jobs a text names: by its whole identifier, by the beginning of it (4 characters or
/// more, in any case), or by its exact name. The identifier goes before the beginning, that before
/// the name. Nothing, with the reason in `*reason`, when no job or more than one fits.
std::optional<JobPointer> PickJob(std::span<const JobPointer> jobs, const String &text,
                                  String *reason);

/// Asks the Master for the job that a text names. Throws `Failure *`.
JobPointer FindJob(Client &client, const String &text);

} // namespace cli
