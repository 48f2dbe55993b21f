#pragma once

#include "corvan/Job.h"

namespace master
{

using corvan::Job;
using ostrel::String;

/// Names what was submitted: the same text for the same type and parameters, in whatever order, and
/// no other job has it. What the Master passes over in a new job does not count. Kept with a job,
/// it tells a job that is sent again, whose answer was lost, from another of the same identifier.
String NameSubmission(const Job &job);

} // namespace master
