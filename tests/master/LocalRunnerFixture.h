#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "master/run/LocalRunner.h"
#include "tests/support/TempFolder.h"

using master::Command;
using master::LocalRunner;
using ostrel::String;

/// A runner with two slots in a folder of the test's own, and what it tells.
class LocalRunnerTest : public ::testing::Test, private master::RunListener
{
protected:
    // Of a command that is asked to end.
    static constexpr std::chrono::milliseconds k_patience{300};

    // However a process detaches itself: by a session of its own, without the marks in its
    // environment, as a child of init.
    static constexpr const char *k_detached =
        "setsid env -i /bin/sh -c 'trap \"\" TERM HUP; echo $$ > session; while :; do sleep 0.01; "
        "done' &"
        "(setsid /bin/sh -c 'echo $$ > daemon; exec sleep 100' &) & "
        "/bin/sh -c 'echo $$ > stopped; kill -STOP $$' & "
        "while [ ! -s session ] || [ ! -s daemon ] || [ ! -s stopped ]; do sleep 0.01; done; ";

    bool Start(const std::vector<std::string> &arguments)
    {
        Command command = m_command;
        command.run = m_run;
        command.arguments = arguments;
        command.folder = m_folder.Folder();
        command.log = m_folder / "log";
        return m_runner.Start(command, Listener(), &m_reason);
    }

    bool StartScript(const std::string &script)
    {
        return Start({"/bin/sh", "-c", script, "test"});
    }

    // Runs the loop until `isReached`, or for a good while.
    template <typename Condition> bool RunUntil(Condition isReached)
    {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!isReached() && std::chrono::steady_clock::now() < limit)
            m_loop.run_one_for(std::chrono::milliseconds(20));
        m_loop.restart();
        return isReached();
    }

    bool RunUntilEnded()
    {
        return RunUntil([this] { return !m_ended.empty(); });
    }

    // The number that a script has written into a file; 0 while it is not there.
    pid_t ReadNumber(const String &leaf) const
    {
        std::ifstream file((m_folder / leaf).Text());
        pid_t number = 0;
        file >> number;
        return number;
    }

    static bool IsAlive(pid_t process)
    {
        // One that has ended and was not collected by init yet is not alive.
        std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
        std::string text((std::istreambuf_iterator<char>(stat)), {});
        const std::size_t name = text.rfind(") ");
        return name != std::string::npos && text[name + 2] != 'Z' && text[name + 2] != 'X';
    }

    master::RunListener &Listener()
    {
        return *this;
    }

    TempFolder m_folder;
    int m_run = 1;
    Command m_command; // What the next ones have beside arguments, folder and log.
    std::vector<std::pair<int, int>> m_ended;
    String m_reason;
    boost::asio::io_context m_loop;
    LocalRunner m_runner{m_loop, 2, k_patience};
    std::vector<int> m_started;
    master::RunEnd m_end; // Of the last that ended.

private:
    void OnStarted(int run) override
    {
        m_started.push_back(run);
    }

    void OnEnded(int run, const master::RunEnd &end) override
    {
        m_ended.push_back({run, end.exitCode});
        m_end = end;
    }
};
