#pragma once

#include <string>
#include <string_view>

namespace keeper
{

/// A file that takes what a command prints and never grows beyond a limit: it keeps the beginning
/// and the end, and a line between them tells how much is left out. Whoever reads it meanwhile
/// finds all in its order. What the disk does not take is left out too; nobody is held up.
class BoundedLog
{
public:
    BoundedLog() = default;
    ~BoundedLog();
    BoundedLog(const BoundedLog &) = delete;
    BoundedLog &operator=(const BoundedLog &) = delete;

    /// Begins the file anew. False, with the reason, where it cannot be written. A limit below
    /// `k_LeastBytes` is that.
    bool Open(const std::string &file, long long mostBytes, std::string *reason);
    void Append(std::string_view text);

    static constexpr long long k_LeastBytes = 4096;

private:
    void MakeRoom();

    int m_file = -1;
    long long m_most = 0;
    long long m_size = 0;
    long long m_leftOut = 0;
};

} // namespace keeper
