#pragma once

#include <chrono>

#include "check/LookAnswer.h"
#include "check/LookRequest.h"

namespace master
{

/// Who is told of a look.
class LookListener
{
public:
    /// The look is over; once for each. One that could not be made has that as its trouble.
    virtual void OnLooked(int look, const check::LookAnswer &answer) = 0;

protected:
    ~LookListener() = default;
};

/// Has frames looked at, which may take as long as the disk likes, and beyond all limits where a
/// share hangs.
///
/// ChildLooker starts processes; the simulation tells what it was given to tell. Loop thread; the
/// listener is told there, and never from within one of these calls.
class FrameLooker
{
public:
    virtual ~FrameLooker() = default;

    /// Begins a look of this number, which is never used twice. The listener lives until it is
    /// told, or this object goes.
    virtual void Start(int look, const check::LookRequest &request, LookListener &listener) = 0;

    /// Nobody wants to know any more. Its end is told all the same, once it is gone.
    virtual void End(int look) = 0;

    /// How long a look may take before it is ended. One that is not over soon after that hangs.
    virtual std::chrono::seconds LimitOf(const check::LookRequest &request) const = 0;
};

} // namespace master
