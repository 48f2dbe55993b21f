#pragma once

#include <boost/process/child.hpp>
#include <boost/process/pipe.hpp>
#include <memory>
#include <string>
#include <vector>

#include "ostrel/Path.h"

/// The program corvan-master as it ships, run in an environment whose user folders are all in one
/// folder of the test. Killed at the end of its life where it still runs.
class MasterProgram
{
public:
    /// Starts it with its log and, where no --data is among them, its data in `folder`, and with
    /// these further arguments.
    MasterProgram(const ostrel::Path &folder, const std::vector<std::string> &arguments);
    ~MasterProgram();
    MasterProgram(const MasterProgram &) = delete;
    MasterProgram &operator=(const MasterProgram &) = delete;

    /// The next line that it prints; empty where it prints no more.
    std::string ReadLine();

    void Signal(int signal);

    /// Its exit status once it has ended; -1 where a signal ended it. One that
    /// has not ended within half a minute is killed.
    int WaitForEnd();

    /// What it wrote to standard error, once it has ended.
    std::string Errors();

    pid_t Process() const
    {
        return m_child.id();
    }

    /// As gRPC takes it.
    std::string Address() const;

private:
    ostrel::Path m_folder;
    boost::process::ipstream m_output;
    boost::process::child m_child;
};
