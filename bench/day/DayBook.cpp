#include "bench/day/DayBook.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace bench
{

DayBook::DayBook(const std::string &file, unsigned packets)
    : m_bytes(sizeof(Head) + packets * sizeof(Packet))
{
    const int opened = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    // What it holds at first is nothing but zeros, which is a packet that nobody has touched.
    if (opened >= 0 && ::ftruncate(opened, off_t(m_bytes)) == 0)
        m_memory = ::mmap(nullptr, m_bytes, PROT_READ | PROT_WRITE, MAP_SHARED, opened, 0);
    ::close(opened);
    if (!m_memory || m_memory == MAP_FAILED)
    {
        std::perror(file.c_str());
        std::exit(1);
    }
}

DayBook::~DayBook()
{
    ::munmap(m_memory, m_bytes);
}

} // namespace bench
