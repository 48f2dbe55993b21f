#pragma once

#include "master/notices/Notices.h"
#include "ostrel/IniFile.h"

namespace master
{

/// Section "Notices" of the options:
///
///     [Notices]
///     1 = /usr/share/ordwick/notices/mail     the command, an argument a key, as in a job type
///     2 = wranglers@example.org
///     3 = {Text}
///     Events = failed paused bad stuck        which of done, failed, paused, bad, stuck; all of
///                                             them where it is not there
///     LimitSeconds = 30                       how long the command may take, 1 to 3600
///
/// No command where there is no such section. Throws `UsageException *` for what cannot be: a key,
/// an event or a placeholder that is not known, no command, another number.
NoticeSettings ReadNotices(const ostrel::IniFile &options);

} // namespace master
