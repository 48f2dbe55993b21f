#include "master/store/AuditStore.h"

#include <cassert>

#include "master/store/StoreDatabase.h"
#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

std::int64_t AuditStore::Keep(const std::string &lines)
{
    _CallEntry call("AuditStore::Keep", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            const Query insert = m_database.Prepared("INSERT INTO audit(lines) VALUES(?)");
            insert->bindNoCopy(1, lines);
            insert->exec();
            return std::int64_t(m_database.Connection().getLastInsertRowid());
        });
}

void AuditStore::Forget(std::int64_t upTo)
{
    _CallEntry call("AuditStore::Forget", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database.Guarded(
        [&]
        {
            const Query remove = m_database.Prepared("DELETE FROM audit WHERE number <= ?");
            remove->bind(1, upTo);
            remove->exec();
        });
}

std::vector<AuditStore::Kept> AuditStore::List()
{
    _CallEntry call("AuditStore::List", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            std::vector<Kept> kept;
            const Query select =
                m_database.Prepared("SELECT number, lines FROM audit ORDER BY number");
            while (select->executeStep())
                kept.push_back({select->getColumn(0).getInt64(), select->getColumn(1).getString()});
            return kept;
        });
}

} // namespace master
