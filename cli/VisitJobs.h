#pragma once

#include <functional>

#include "cli/Client.h"
#include "corvan/Job.h"

namespace cli
{

using corvan::Job;
using JobPointer = boost::shared_ptr<Job>;

/// Asks the Master for its jobs, newest first, and shows each to `visit` until that says false.
/// They come in parts, so however many there are, a part of them is in memory. `limit` 0 for all.
/// Throws `Failure *`.
void VisitJobs(Client &client, unsigned limit,
               const std::function<bool(const JobPointer &)> &visit);

} // namespace cli
