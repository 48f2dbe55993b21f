#include "master/requests/ClientRequest.h"

#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;

void ClientRequest::Accept(const UID &job) const
{
    _CallEntry call("ClientRequest::Accept", __FILE__, __LINE__);

    outbox.Accept(caller.client, message.serial, job);
}

void ClientRequest::Refuse(const String &reason, const UID &job, const String &thing) const
{
    _CallEntry call("ClientRequest::Refuse", __FILE__, __LINE__);

    String what = message.TypeName();
    if (!thing.empty())
        what += " " + thing;
    // The libraries' reasons begin with the parameter, too.
    const bool isNamed = !thing.empty() && reason.starts_with(thing + ": ");
    const String why = isNamed ? String(reason.substr(thing.size() + 2)) : reason;
    ostrel::LogInfo("refused " + what + " of client " + std::to_string(caller.client) + ": " + why);
    outbox.Refuse(caller.client, message.serial, what, why, job);
}

void ClientRequest::Answer(boost::shared_ptr<Message> answer) const
{
    _CallEntry call("ClientRequest::Answer", __FILE__, __LINE__);

    outbox.Answer(caller.client, message.serial, std::move(answer));
}

void ClientRequest::RefuseUnknown(const UID &job, const String &thing) const
{
    _CallEntry call("ClientRequest::RefuseUnknown", __FILE__, __LINE__);

    Refuse("there is no such job", job, thing);
}

void ClientRequest::RefuseForRight(const MissingRight &missing, const UID &job) const
{
    _CallEntry call("ClientRequest::RefuseForRight", __FILE__, __LINE__);

    const String what = message.TypeName();
    ostrel::LogInfo("refused " + what + " of client " + std::to_string(caller.client) + ": " +
                    missing.sentence);
    outbox.Refuse(caller.client, message.serial, what, missing.sentence, job, missing.name);
}

void ClientRequest::NoteChange(const UID &job, const String &name, const String &oldValue,
                               const String &newValue) const
{
    _CallEntry call("ClientRequest::NoteChange", __FILE__, __LINE__);

    AuditEntry entry = EntryOf(caller.who, message.TypeName(), job);
    entry.name = name;
    entry.oldValue = oldValue;
    entry.newValue = newValue;
    outbox.Audit(std::move(entry));
}

} // namespace master
