#pragma once

#include <boost/shared_ptr.hpp>

#include "corvan/Job.h"

namespace corvan
{

/// A new job that renders a range of another anew: a copy of it with an identifier of its own,
/// queued. Nothing where the type is not known, which is logged, or where the job does not take the
/// range. The other job stays as it is.
boost::shared_ptr<Job> MakeRequeueJob(const Job &job, const String &range);

} // namespace corvan
