#pragma once

#include <chrono>
#include <stop_token>
#include <string>
#include <vector>

namespace master
{

/// A program to run, which does its work and ends.
struct Tool
{
    std::vector<std::string> arguments;   ///< The first is the program; looked for in PATH.
    std::vector<std::string> environment; ///< "NAME=value"; all that it gets.
    std::string input;                    ///< What it reads.
    std::string givesUp{}; ///< Once it says so on standard error it is killed; empty for nothing.
    /// Of each of what it prints; more is read and forgotten. A queue of a million tasks stays
    /// below it; whoever prints more is not what we asked.
    std::size_t mostBytes = std::size_t(512) << 20;
};

/// How it ended.
struct ToolEnd
{
    bool isStarted = true; ///< False with the reason in `error`.
    bool isCutOff = false; ///< It took too long, gave up or was to be stopped, and was killed.
    int status = 0;        ///< Its exit status; -1 where a signal ended it.
    std::string output{};
    std::string error{}; ///< What it printed to standard error.
};

/// Runs a program and waits for its end, at most so long, and until `stop` is wanted. For threads
/// other than the loop's.
ToolEnd RunTool(const Tool &tool, std::chrono::milliseconds limit, const std::stop_token &stop);

} // namespace master
