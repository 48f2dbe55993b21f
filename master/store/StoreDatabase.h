#pragma once

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <map>

#include <sqlite3.h>

#include "master/store/StoreException.h"
#include "ostrel/Path.h"

namespace master
{

using ostrel::Path;

/// The use of a prepared statement; at its end the statement lets go of rows and texts.
class Query
{
public:
    explicit Query(SQLite::Statement &statement) : m_statement(statement) {}
    ~Query()
    {
        m_statement.tryReset();
        m_statement.clearBindings();
    }
    Query(const Query &) = delete;
    Query &operator=(const Query &) = delete;

    SQLite::Statement *operator->() const
    {
        return &m_statement;
    }
    SQLite::Statement &operator*() const
    {
        return m_statement;
    }

private:
    SQLite::Statement &m_statement;
};

/// The connection, and its statements, which are prepared once.
class StoreDatabase
{
public:
    /// `vfs`: see `JobStore`.
    StoreDatabase(const Path &file, const char *vfs)
        : m_file(file), m_connection(file.Text().c_str(),
                                     SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE, k_busy_ms, vfs)
    {
    }

    SQLite::Database &Connection()
    {
        return m_connection;
    }

    const Path &File() const
    {
        return m_file;
    }

    // `sql` is a literal; its address is its name.
    Query Prepared(const char *sql)
    {
        auto found = m_statements.find(sql);
        if (found == m_statements.end())
            found = m_statements.try_emplace(sql, m_connection, sql).first;
        return Query(found->second);
    }

    // Nothing can be done about a rollback that fails: the database has rolled back by itself.
    void TryExec(const char *sql)
    {
        m_connection.tryExec(sql);
    }

    bool InTransaction() const
    {
        return sqlite3_get_autocommit(m_connection.getHandle()) == 0;
    }

    // Runs `work` and turns what the library throws into the farm's exception.
    template <typename Work> auto Guarded(Work work)
    {
        try
        {
            return work();
        }
        catch (const SQLite::Exception &error)
        {
            throw new StoreException("job store " + m_file.Text() + ": " + error.what());
        }
    }

private:
    static constexpr int k_busy_ms = 5000;

    Path m_file;
    SQLite::Database m_connection;
    std::map<const char *, SQLite::Statement> m_statements;
};

} // namespace master
