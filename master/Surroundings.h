#pragma once

#include <functional>
#include <memory>

#include "master/audit/AuditLog.h"
#include "master/door/Door.h"
#include "master/door/Health.h"
#include "master/frames/FrameLooker.h"
#include "master/loop/Clock.h"
#include "master/run/CommandRunner.h"
#include "master/run/LogLooks.h"
#include "master/run/SlowWork.h"
#include "master/run/ToolThread.h"

namespace master
{

/// What the Master works with: time, commands, clients and the disk of the store.
struct Surroundings
{
    /// Makes the door once the store is open: it tells the clients the identity that it is given,
    /// and who asks for it the health, which outlives it.
    using OpenDoor = std::function<std::unique_ptr<Door>(const UID &master, const Health &health,
                                                         Door::User &user)>;

    std::unique_ptr<AlarmClock> clock;
    CommandRunner &runner; ///< Outlives the Master.
    OpenDoor openDoor;
    const char *vfs = nullptr;             ///< See `JobStore`.
    AuditDisk *audit = nullptr;            ///< See `AuditLog`.
    std::unique_ptr<LogLooks> logLooks{};  ///< Null where nobody looks whether logs grow.
    std::unique_ptr<SlowWork> slowWork{};  ///< On what was printed; null where that is not slow.
    std::unique_ptr<ToolRunner> tools{};   ///< For notices; null where there are none.
    std::unique_ptr<FrameLooker> looker{}; ///< See `FrameChecks`.
    std::function<UID()> makeID = [] { return UID(true); }; ///< Of the Master's own jobs.
};

} // namespace master
