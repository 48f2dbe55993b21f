#pragma once

#include <boost/uuid/uuid.hpp>

#include "ostrel/String.h"

namespace ostrel
{

/// The farm's identifier of jobs, job types, message types and clients: a UUID, or nil.
class UID
{
public:
    /// True makes a new random identifier, false the nil one.
    explicit UID(bool makeNew = false);

    /// Reads an identifier. Text that is none gives nil, or throws `Exception *` when `strict`.
    UID(const String &text, bool strict);

    /// Takes the 36-character form ("f81d4fae-7dec-11d0-a765-00a0c91e6bf6", case does not
    /// matter) and nothing else; nil is no identifier either. On false nothing is changed.
    bool FromString(const String &text);

    /// The 36-character form in lower case.
    String ToString() const;

    bool IsNil() const;

    friend bool operator==(const UID &a, const UID &b)
    {
        return a.m_value == b.m_value;
    }
    friend bool operator<(const UID &a, const UID &b)
    {
        return a.m_value < b.m_value;
    }

private:
    boost::uuids::uuid m_value;
};

} // namespace ostrel
