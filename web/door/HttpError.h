#pragma once

#include "ostrel/Exception.h"

namespace web
{

/// What a handler throws where the fault is the asker's: his answer is the text, with this status.
class HttpError : public ostrel::Exception
{
public:
    HttpError(unsigned status, ostrel::String sentence)
        : Exception(std::move(sentence)), m_status(status)
    {
    }

    unsigned Status() const
    {
        return m_status;
    }

private:
    const unsigned m_status;
};

} // namespace web
