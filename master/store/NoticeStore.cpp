#include "master/store/NoticeStore.h"

#include <cassert>

#include "master/store/StoreDatabase.h"
#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

std::int64_t NoticeStore::Add(const String &facts)
{
    _CallEntry call("NoticeStore::Add", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            const Query insert = m_database.Prepared("INSERT INTO notices(facts) VALUES(?)");
            insert->bind(1, facts);
            insert->exec();
            return m_database.Connection().getLastInsertRowid();
        });
}

std::vector<std::int64_t> NoticeStore::List()
{
    _CallEntry call("NoticeStore::List", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            std::vector<std::int64_t> numbers;
            const Query select = m_database.Prepared("SELECT number FROM notices ORDER BY number");
            while (select->executeStep())
                numbers.push_back(select->getColumn(0).getInt64());
            return numbers;
        });
}

std::optional<String> NoticeStore::Find(std::int64_t number)
{
    _CallEntry call("NoticeStore::Find", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]() -> std::optional<String>
        {
            const Query select = m_database.Prepared("SELECT facts FROM notices WHERE number = ?");
            select->bind(1, number);
            if (!select->executeStep())
                return std::nullopt;
            return String(select->getColumn(0).getString());
        });
}

void NoticeStore::Remove(std::int64_t number)
{
    _CallEntry call("NoticeStore::Remove", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database.Guarded(
        [&]
        {
            const Query remove = m_database.Prepared("DELETE FROM notices WHERE number = ?");
            remove->bind(1, number);
            remove->exec();
        });
}

} // namespace master
