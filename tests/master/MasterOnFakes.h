#pragma once

#include <SQLiteCpp/Database.h>
#include <atomic>
#include <boost/make_shared.hpp>
#include <cerrno>

#include <gtest/gtest.h>

#include "corvan/Messages.h"
#include "master/Master.h"
#include "master/loop/LoopClock.h"
#include "master/store/StoreFiles.h"
#include "ostrel/Attempt.h"
#include "tests/master/FakeDoor.h"
#include "tests/master/RunningMaster.h"
#include "tests/master/TestJobs.h"
#include "tests/support/FakeRunner.h"
#include "tests/support/TempFolder.h"

/// A disk of an audit log that takes no more where the test says so.
class FullAuditDisk : public master::AuditDisk
{
public:
    bool isFull = false;
    std::atomic<bool> isFailing = false; ///< Its syncs do.
    std::atomic<int> syncs = 0;

    int Sync(int file) override
    {
        ++syncs;
        errno = EIO;
        return isFailing ? -1 : AuditDisk::Sync(file);
    }

    ssize_t Write(int file, std::string_view text) override
    {
        errno = ENOSPC;
        return isFull ? -1 : AuditDisk::Write(file, text);
    }
};

/// A Master without connections and commands: the test is client and runner.
class MasterOnFakes : public ::testing::Test
{
protected:
    MasterOnFakes()
    {
        Start();
    }

    // Once more, where there is none.
    void Start()
    {
        m_loop = std::make_unique<boost::asio::io_context>();
        const auto open =
            [this](const ostrel::UID &, const master::Health &health, master::Door::User &user)
        {
            m_health = &health;
            auto door = std::make_unique<FakeDoor>(user);
            m_door = door.get();
            return door;
        };
        master::Surroundings surroundings{std::make_unique<master::LoopClock>(*m_loop), m_runner,
                                          open, nullptr, &m_audit};
        if (m_complete)
            m_complete(surroundings);
        m_master = std::make_unique<master::Master>(*m_loop, m_settings, std::move(surroundings));
    }

    // What a handler throws is the loop's, which goes on.
    template <typename Condition> bool RunUntil(Condition isReached)
    {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!isReached() && std::chrono::steady_clock::now() < limit)
            ostrel::Attempt([this] { m_loop->run_one_for(std::chrono::milliseconds(20)); });
        return isReached();
    }

    void InStore(const char *sql) const
    {
        SQLite::Database(master::StoreFileIn(m_settings.data).Text(), SQLite::OPEN_READWRITE, 5000)
            .exec(sql);
    }

    // The last that the followers were told of a parameter.
    std::string LastNews(const ostrel::String &name) const
    {
        std::string value;
        for (const master::Outgoing &message : m_door->sent)
            if (const auto *news =
                    dynamic_cast<const corvan::JobParameterMsg *>(message.message.get()))
                if (news->name == name)
                    value = news->value;
        return value;
    }

    TempFolder m_folder;
    TestJobTypes m_types;
    master::MasterSettings m_settings = SettingsIn(m_folder.Folder());
    std::unique_ptr<boost::asio::io_context> m_loop;
    FakeRunner m_runner;
    FullAuditDisk m_audit;
    FakeDoor *m_door = nullptr;
    const master::Health *m_health = nullptr;
    std::function<void(master::Surroundings &)> m_complete; ///< Before a Master is started.
    std::unique_ptr<master::Master> m_master;
};
