#pragma once

#include "cli/ExitStatus.h"
#include "ostrel/Exception.h"

namespace cli
{

using ostrel::String;

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

/// The Master was asked, and nobody knows whether it has done it.
class Unanswered : public Failure
{
public:
    Unanswered(bool isConnectionLost, String text)
        : Failure(k_NoMaster, std::move(text)), m_isConnectionLost(isConnectionLost)
    {
    }

    /// The connection broke, so that there is sense in asking again.
    bool IsConnectionLost() const
    {
        return m_isConnectionLost;
    }

private:
    bool m_isConnectionLost;
};

} // namespace cli
