#pragma once

#include "ostrel/Exception.h"

namespace cli
{

using ostrel::String;

/// What `corvan` ends with.
enum ExitStatus : int
{
    k_Done = 0,
    k_Refused = 1,    ///< The Master or a check said no, or a job failed.
    k_WrongUsage = 2, ///< The arguments make no sense.
    k_NoMaster = 3,   ///< Nobody to ask.

    // Of what looks at frames.
    k_BadFrames = 1,
    k_CannotLook = 4, ///< Nothing is known of the frames.
};

/// Ends a verb: the text is printed, the status is what the program ends with. Thrown and caught
/// as a plain pointer, as all exceptions of the libraries.
class Failure : public ostrel::Exception
{
public:
    Failure(ExitStatus status, String text) : Exception(std::move(text)), m_status(status) {}

    ExitStatus Status() const
    {
        return m_status;
    }

private:
    ExitStatus m_status;
};

} // namespace cli
