#include "master/door/Health.h"

#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;
using std::chrono::steady_clock;

Health::Health(std::chrono::milliseconds patience)
    : m_patience(patience), m_lastTurn(steady_clock::now().time_since_epoch().count())
{
    _CallEntry call("Health::Health", __FILE__, __LINE__);
}

void Health::NoteTurn()
{
    _CallEntry call("Health::NoteTurn", __FILE__, __LINE__);

    m_lastTurn = steady_clock::now().time_since_epoch().count();
}

void Health::NoteChange(bool isOnDisk)
{
    _CallEntry call("Health::NoteChange", __FILE__, __LINE__);

    m_isOnDisk = isOnDisk;
}

void Health::NoteAudit(bool isWritten)
{
    _CallEntry call("Health::NoteAudit", __FILE__, __LINE__);

    m_isAuditWritten = isWritten;
}

void Health::NoteEnd()
{
    _CallEntry call("Health::NoteEnd", __FILE__, __LINE__);

    m_isEnding = true;
}

std::chrono::nanoseconds Health::SinceTurn() const
{
    _CallEntry call("Health::SinceTurn", __FILE__, __LINE__);

    return steady_clock::now().time_since_epoch() - steady_clock::duration(m_lastTurn.load());
}

String Health::Trouble() const
{
    _CallEntry call("Health::Trouble", __FILE__, __LINE__);

    if (m_isEnding)
        return "the Master is ending";
    if (const auto since = SinceTurn(); since > m_patience)
    {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(since);
        return "the loop has taken no turn for " + std::to_string(seconds.count()) + " s";
    }
    if (!m_isOnDisk)
        return "changes do not get to disk";
    if (!m_isAuditWritten)
        return "the audit log does not get to disk, and nothing is changed before it does";
    return {};
}

} // namespace master
