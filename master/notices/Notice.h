#pragma once

#include <optional>
#include <vector>

#include "corvan/Job.h"
#include "corvan/Placeholders.h"
#include "ostrel/UID.h"

namespace master
{

using corvan::Job;
using ostrel::String;
using ostrel::UID;

/// What the administrator may want to be told of.
enum class NoticeEvent
{
    Done,
    Failed,
    Paused, ///< By the Master; not by somebody who has set the status.
    Bad,    ///< Frames of it are, as a check of the Master's has found.
    Stuck,  ///< Tasks of it are.
};

/// "done", "failed", "paused", "bad", "stuck"; all of them, in this order.
const char *NoticeEventName(NoticeEvent event);
const std::vector<NoticeEvent> &NoticeEvents();

/// The facts, as one line of JSON: all texts and numbers, by names such as "event", "text", "time",
/// "id", "name", "owner", "tasksFailed". `job` is as clients are sent it; `reason` tells why, where
/// there is more to tell than the counts. Of a long text the beginning is there.
String MakeNotice(NoticeEvent event, const Job &job, const UID &master, const String &reason);

/// What {Event}, {Text}, {Name} and the like stand for, by the facts of a notice. In each of them,
/// control characters are blanks; one that begins with "-" has a blank before it, so that none is
/// refused or makes an option of an argument.
corvan::FindPlaceholder NoticePlaceholders(const String &facts);

} // namespace master
