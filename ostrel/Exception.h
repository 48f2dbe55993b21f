#pragma once

#include "ostrel/String.h"

namespace ostrel
{

/// What the farm's libraries throw when disk, network or database refuse.
///
/// Always thrown and caught as a plain pointer (`throw new Exception(...)`); whoever catches one
/// owns it and deletes it. The text names the thing and the reason.
class Exception
{
public:
    explicit Exception(String text) : m_text(std::move(text)) {}
    virtual ~Exception() = default;
    Exception(const Exception &) = delete;
    Exception &operator=(const Exception &) = delete;

    /// "cannot open job store /var/jobs.db: disk full"
    const String &Text() const
    {
        return m_text;
    }

private:
    String m_text;
};

/// A program could not be started.
class ProcessException : public Exception
{
public:
    using Exception::Exception;
};

} // namespace ostrel
