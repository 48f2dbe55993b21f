#pragma once

#include "ostrel/String.h"

namespace corvan
{
class Job;
}

namespace analysis
{

using ostrel::String;

/// Why nobody is to give a job this value, as a sentence that names the parameter; empty where it
/// is fine. What `corvan submit` and `corvan set` say, and what the Master holds all clients to.
///
/// Refused is what `corvan::Job::CheckParameter` refuses, and besides: "ID"; a name that is one of
/// `corvan::ParameterNames`, of the job's own parameters or of its type's defaults but for the case
/// of its letters, since nobody would ever read it; an "ImageFormat" that holds no pattern, one
/// that `FramePattern` cannot read, or one that is no full path. A job that has such a value
/// already stays as it is.
String CheckSetting(const corvan::Job &job, const String &name, const String &value);

} // namespace analysis
