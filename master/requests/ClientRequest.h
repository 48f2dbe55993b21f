#pragma once

#include "master/door/Identity.h"
#include "master/jobs/Outbox.h"
#include "master/requests/Rights.h"

namespace master
{

/// A client, and who it has proved to be.
struct Caller
{
    ClientNumber client = 0;
    const Identity &who;
};

/// One message of a client, and where its answers go.
struct ClientRequest
{
    const Caller &caller;
    const Message &message;
    Outbox &outbox;

    /// Carried out.
    void Accept(const UID &job) const;
    /// Not carried out. `thing` is what of the message was refused: a parameter, say.
    void Refuse(const String &reason, const UID &job, const String &thing = {}) const;
    void RefuseUnknown(const UID &job, const String &thing) const;
    void RefuseForRight(const MissingRight &missing, const UID &job) const;
    void Answer(boost::shared_ptr<Message> answer) const;

    /// For the audit log: a parameter of a job was changed.
    void NoteChange(const UID &job, const String &name, const String &oldValue,
                    const String &newValue) const;
};

} // namespace master
