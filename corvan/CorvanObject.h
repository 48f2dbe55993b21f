#pragma once

#include "ostrel/UID.h"

namespace corvan
{

using ostrel::String;
using ostrel::UID;

/// Something the farm keeps: it has an identifier, a name and a note.
class CorvanObject
{
public:
    virtual ~CorvanObject() = default;

    const UID &ID() const
    {
        return m_id;
    }
    void SetID(const UID &id)
    {
        m_id = id;
    }

    /// The "Name" parameter; empty when not set.
    virtual String Name() const = 0;

    /// Sets the "Note" parameter, of this object only: nothing is sent.
    virtual void SetNote(const String &note) = 0;

private:
    UID m_id;
};

} // namespace corvan
