#pragma once

#include <unistd.h>

namespace ostrel
{

/// An open file of the system, closed at the end of its life.
class Descriptor
{
public:
    /// Takes over `number`; a negative one is no file.
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor()
    {
        if (m_number >= 0)
            close(m_number);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    bool IsOpen() const
    {
        return m_number >= 0;
    }
    int Number() const
    {
        return m_number;
    }

private:
    int m_number;
};

} // namespace ostrel
