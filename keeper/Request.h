#pragma once

#include <string>
#include <vector>

#include "keeper/PathRoots.h"

namespace keeper
{

/// What the Master wants to have run.
struct Request
{
    std::vector<std::string> arguments;
    std::vector<std::string> environment;
    std::vector<std::string> outputs;
    std::vector<std::string> places;
    std::vector<std::string> outputRoots; ///< None where outputs and places may lie anywhere.
    std::vector<RootedPath> rooted;
    std::vector<std::string> groups; ///< Numbers, all that its user has.
    std::string folder;
    std::string group; ///< Folder of the control group that it is to be in; empty for none.
    std::string log;
    long long userId = 0; ///< 0 for whoever asks.
    long long groupId = 0;
    long long keepsOld = 0;
    long long seconds = 0;
    long long memoryBytes = 0;
    long long processes = 0;
    long long processors = 0;
    long long firstProcessor = 0;
    long long logBytes = 0;
    long long nice = 0;
    long long files = 0;
    long long patienceMs = 0;
};

/// Reads a request to the end of an open file. False, with the reason, for one that cannot be read,
/// that names something unknown, as a Master of another version may, or has no arguments.
bool ReadRequest(int file, Request &request, std::string *reason);

} // namespace keeper
