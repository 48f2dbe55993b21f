#include "keeper/ArrayFolder.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

namespace keeper
{

namespace
{

constexpr const char *k_head = "corvan-array-1";

} // namespace

std::string WriteArrayFile(const std::vector<std::pair<unsigned, std::string>> &requests,
                           unsigned leaseSeconds)
{
    std::string text = std::string(k_head) + " " + std::to_string(leaseSeconds) + "\n";
    std::size_t begin = 0;
    for (const auto &[element, request] : requests)
    {
        text += std::to_string(element) + " " + std::to_string(begin) + " " +
                std::to_string(request.size()) + "\n";
        begin += request.size();
    }
    text += "\n";
    for (const auto &[element, request] : requests)
        text += request;
    return text;
}

bool ReadArrayFile(const std::string &file, unsigned element, std::string &request,
                   unsigned &leaseSeconds, std::string *reason)
{
    std::ifstream stream(file, std::ios::binary);
    std::string line;
    std::string head;
    if (!std::getline(stream, line))
    {
        *reason = "cannot read " + file + ": " + std::strerror(errno);
        return false;
    }
    if (!(std::istringstream(line) >> head >> leaseSeconds) || head != k_head)
    {
        *reason = file + " is not of this version of corvan-task";
        return false;
    }

    long long begin = -1;
    long long length = 0;
    while (std::getline(stream, line) && !line.empty())
    {
        unsigned number = 0;
        long long from = 0;
        long long size = 0;
        if (std::istringstream(line) >> number >> from >> size && number == element)
        {
            begin = from;
            length = size;
        }
    }
    if (begin < 0 || length < 0)
    {
        *reason = file + " has no element " + std::to_string(element);
        return false;
    }
    stream.seekg(begin, std::ios::cur);
    request.resize(std::size_t(length));
    stream.read(request.data(), length);
    if (stream.gcount() == length)
        return true;
    *reason = file + " is not whole";
    return false;
}

} // namespace keeper
