#pragma once

#include <mutex>
#include <set>
#include <string>

/// A disk that is watched, or fails: for as long as one of these lives, this program's calls of
/// `fsync` and `fdatasync` come here, as they would with a library that is loaded before the
/// system's. One at a time; any thread.
class FakeSync
{
public:
    /// `error` is the system's error number for each call; 0 for none.
    explicit FakeSync(int error = 0);
    ~FakeSync();
    FakeSync(const FakeSync &) = delete;
    FakeSync &operator=(const FakeSync &) = delete;

    /// What was synced since it was asked for last, by its path.
    std::set<std::string> TakeSynced();

private:
    friend int SyncOf(long call, int file);

    const int m_error;
    std::mutex m_mutex;
    std::set<std::string> m_synced;
};
