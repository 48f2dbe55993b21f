#include "keeper/BoundedLog.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace keeper
{

namespace
{

// Of a length that does not change with the number, so that it can be written over.
constexpr const char *k_gap = "\n[corvan-task: %20lld bytes are left out here]\n";

bool WriteAt(int file, const char *data, std::size_t size, long long at)
{
    while (size > 0)
    {
        const ssize_t written = ::pwrite(file, data, size, at);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        data += written;
        size -= std::size_t(written);
        at += written;
    }
    return true;
}

} // namespace

BoundedLog::~BoundedLog()
{
    if (m_file >= 0)
        ::close(m_file);
}

bool BoundedLog::Open(const std::string &file, long long mostBytes, std::string *reason)
{
    m_most = std::max(mostBytes, k_LeastBytes);
    m_file = ::open(file.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (m_file < 0)
        *reason = "cannot write " + file + ": " + std::strerror(errno);
    return m_file >= 0;
}

void BoundedLog::Append(std::string_view text)
{
    while (!text.empty())
    {
        if (m_size >= m_most)
            MakeRoom();
        const auto count =
            std::size_t(std::min<long long>(m_most - m_size, (long long)text.size()));
        if (!WriteAt(m_file, text.data(), count, m_size))
            return;
        m_size += (long long)count;
        text.remove_prefix(count);
    }
}

// The first and the last quarter stay. Each byte is moved once for each two that come.
void BoundedLog::MakeRoom()
{
    char gap[128];
    const long long head = m_most / 4;
    long long from = m_size - m_most / 4;
    const int gapSize = std::snprintf(gap, sizeof gap, k_gap, 0LL);
    m_leftOut += from - head - (m_leftOut > 0 ? gapSize : 0);
    std::snprintf(gap, sizeof gap, k_gap, m_leftOut);

    long long to = head;
    const bool isTold = WriteAt(m_file, gap, std::size_t(gapSize), to);
    to += isTold ? gapSize : 0;
    char part[65536];
    while (from < m_size)
    {
        const ssize_t count = ::pread(
            m_file, part, std::size_t(std::min<long long>(sizeof part, m_size - from)), from);
        if (count <= 0 || !WriteAt(m_file, part, std::size_t(count), to))
            break;
        from += count;
        to += count;
    }
    m_size = to;
    if (::ftruncate(m_file, m_size) != 0)
        return; // The rest is written over.
}

} // namespace keeper
