#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ostrel/LoopThread.h"

namespace master
{

using ostrel::LoopThread;

class StoreDatabase;

/// The newest lines of the audit log, in the job store's database: until they are known to be on
/// disk in the log's own file.
///
/// A line is kept in the turn that it tells of, so that one sync has both on disk, or neither is
/// there. Every function may throw `StoreException *`. Loop thread.
class AuditStore
{
public:
    /// The database outlives it.
    explicit AuditStore(StoreDatabase &database) : m_database(database) {}

    /// Keeps the lines of a turn, and gives their number, which is above those that are kept
    /// already. Belongs to a turn.
    std::int64_t Keep(const std::string &lines);
    /// The file has those up to this number on disk. Belongs to a turn, and comes after what that
    /// turn keeps: so there is always one, and no number is used again while a Master runs.
    void Forget(std::int64_t upTo);

    struct Kept
    {
        std::int64_t number = 0;
        std::string lines;
    };
    /// In the order in which they were written.
    std::vector<Kept> List();

private:
    StoreDatabase &m_database;
    LoopThread m_thread;
};

} // namespace master
