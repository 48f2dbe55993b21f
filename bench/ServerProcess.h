#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace bench
{

/// A program that serves, in a process of its own. It is ended with this one.
class ServerProcess
{
public:
    /// Starts it, as a list of arguments; what it prints goes nowhere, what it complains of to
    /// standard error.
    explicit ServerProcess(const std::vector<std::string> &command);
    /// Ends it in good order.
    ~ServerProcess();
    ServerProcess(const ServerProcess &) = delete;
    ServerProcess &operator=(const ServerProcess &) = delete;

    /// Ends it with a signal and waits until it is gone. Nothing where it is gone.
    void End(int signal);

    /// Resident memory; 0 once it is gone.
    double Megabytes() const;

    /// Of a processor, of all its threads since it was started; 0 once it is gone.
    double Seconds() const;

private:
    pid_t m_process = -1;
};

} // namespace bench
