#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

#include "ostrel/Path.h"

struct sqlite3;

namespace master
{

using ostrel::Path;
using ostrel::String;

/// Looks a store through on a thread of its own, over a connection of its own, while others work
/// with the store: reading tens of millions of rows takes longer than anybody is to wait. Made,
/// asked and destroyed by one thread.
class StoreCheck
{
public:
    /// What came of it.
    struct Finding
    {
        String damage;  ///< As `FindDamage` tells it; empty where there is none.
        String trouble; ///< Why nobody knows whether there is any; empty where it is known.
    };

    /// Begins. The store is in WAL mode, and is open already: this one does not bring it up to
    /// date after a crash.
    explicit StoreCheck(const Path &file);
    /// Cuts it short.
    ~StoreCheck();
    StoreCheck(const StoreCheck &) = delete;
    StoreCheck &operator=(const StoreCheck &) = delete;

    /// Waits no longer than this. Nothing where it goes on; always so where `patience` is zero.
    std::optional<Finding> Wait(std::chrono::milliseconds patience);

    /// Calls once it is through, on a thread of its own, or at once where it is already. It does
    /// not call where it was cut short, and no more once this is gone. Asked for once.
    void WhenThrough(std::function<void(const Finding &)> call);

private:
    void Run();
    Finding Look();
    void SetConnection(sqlite3 *connection);

    const Path m_file;
    std::mutex m_mutex; // Guards all below.
    std::condition_variable m_changed;
    sqlite3 *m_connection = nullptr; // While it may be interrupted.
    bool m_isCutShort = false;
    bool m_isThrough = false;
    Finding m_finding;
    std::function<void(const Finding &)> m_call;
    std::jthread m_thread;
};

} // namespace master
