#pragma once

#include <boost/shared_ptr.hpp>

#include "corvan/Job.h"
#include "ostrel/UID.h"

namespace corvan
{

/// A new job that renders a range of another anew: a copy of it with an identifier of its own,
/// queued, and marked as a requeue: "RequeueOf" is the identifier of the other job, or of that
/// one's own origin, so that all requeues of a job name the same. It waits for no other job.
/// Nothing where the type is not known, which is logged, or where the job does not take the range.
/// The other job stays as it is.
boost::shared_ptr<Job> MakeRequeueJob(const Job &job, const String &range);

/// The job that a requeue was made of; nil for a job that is none.
ostrel::UID OriginOf(const Job &job);

} // namespace corvan
