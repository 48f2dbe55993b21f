#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "ostrel/LoopThread.h"
#include "ostrel/String.h"

namespace master
{

using ostrel::LoopThread;
using ostrel::String;

class StoreDatabase;

/// Notices that somebody is still to be told of, in the order in which they came. In the job
/// store's database: changes belong to the store's turns.
///
/// Every function may throw `StoreException *`. Loop thread.
class NoticeStore
{
public:
    /// The database outlives it.
    explicit NoticeStore(StoreDatabase &database) : m_database(database) {}

    /// `facts` is what `master/notices/Notice.h` makes. Gives its number, which counts up.
    std::int64_t Add(const String &facts);
    std::vector<std::int64_t> List();
    std::optional<String> Find(std::int64_t number);
    void Remove(std::int64_t number);

private:
    StoreDatabase &m_database;
    LoopThread m_thread;
};

} // namespace master
