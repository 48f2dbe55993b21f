#include "master/store/StoreCheck.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>
#include <memory>

#include <sqlite3.h>

#include "master/store/StoreFiles.h"
#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

constexpr int k_check_busy_ms = 5000;
// An interruption that comes between two steps of a check is not heard.
constexpr std::chrono::milliseconds k_interrupt_each{5};

} // namespace

StoreCheck::StoreCheck(const Path &file) : m_file(file)
{
    _CallEntry call("StoreCheck::StoreCheck", __FILE__, __LINE__);

    m_thread = std::jthread([this] { Run(); });
}

StoreCheck::~StoreCheck()
{
    _CallEntry call("StoreCheck::~StoreCheck", __FILE__, __LINE__);

    std::unique_lock lock(m_mutex);
    m_isCutShort = true;
    do
    {
        if (m_connection)
            sqlite3_interrupt(m_connection);
    } while (!m_changed.wait_for(lock, k_interrupt_each, [this] { return m_isThrough; }));
}

std::optional<StoreCheck::Finding> StoreCheck::Wait(std::chrono::milliseconds patience)
{
    _CallEntry call("StoreCheck::Wait", __FILE__, __LINE__);

    std::unique_lock lock(m_mutex);
    if (patience.count() <= 0 ||
        !m_changed.wait_for(lock, patience, [this] { return m_isThrough; }))
        return std::nullopt;
    return m_finding;
}

void StoreCheck::WhenThrough(std::function<void(const Finding &)> call)
{
    _CallEntry entry("StoreCheck::WhenThrough", __FILE__, __LINE__);

    std::unique_lock lock(m_mutex);
    if (!m_isThrough)
    {
        m_call = std::move(call);
        return;
    }
    lock.unlock();
    call(m_finding);
}

void StoreCheck::Run()
{
    _CallEntry entry("StoreCheck::Run", __FILE__, __LINE__);

    Finding finding;
    if (const auto reason = ostrel::Attempt([&] { finding = Look(); }))
        finding.trouble = *reason;

    std::unique_lock lock(m_mutex);
    m_finding = finding;
    m_isThrough = true;
    const auto call = m_isCutShort ? nullptr : std::move(m_call);
    m_changed.notify_all();
    lock.unlock();
    if (call)
        call(finding);
}

StoreCheck::Finding StoreCheck::Look()
{
    _CallEntry call("StoreCheck::Look", __FILE__, __LINE__);

    try
    {
        SQLite::Database database(m_file.Text(), SQLite::OPEN_READONLY, k_check_busy_ms);
        const auto forget = [this](sqlite3 *) { SetConnection(nullptr); };
        SetConnection(database.getHandle());
        const std::unique_ptr<sqlite3, decltype(forget)> known(database.getHandle(), forget);
        return {.damage = FindDamage(database), .trouble = {}};
    }
    catch (const SQLite::Exception &error)
    {
        if (IsDamage(error))
            return {.damage = error.what(), .trouble = {}};
        return {.damage = {}, .trouble = error.what()};
    }
}

void StoreCheck::SetConnection(sqlite3 *connection)
{
    _CallEntry call("StoreCheck::SetConnection", __FILE__, __LINE__);

    const std::lock_guard lock(m_mutex);
    m_connection = connection;
}

} // namespace master
