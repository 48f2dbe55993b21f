#pragma once

#include "corvan/JobStatus.h"
#include "ostrel/String.h"

namespace master
{

using corvan::JobStatus;
using ostrel::String;

/// What a client's wish for another status of a job comes to.
enum class StatusRequest
{
    NothingToDo, ///< It is so already.
    Pause,       ///< Start no more tasks; those that run go on.
    Resume,      ///< Go on after a pause.
    Cancel,      ///< End the running tasks and start no more.
    RunAgain,    ///< Queue all tasks of a job that is over.
    Refuse,
};

/// Decides it. For `Refuse` the reason is in `*reason`.
StatusRequest DecideStatusRequest(JobStatus present, JobStatus wanted, String *reason);

} // namespace master
