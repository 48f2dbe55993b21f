#pragma once

#include "ostrel/String.h"

namespace ostrel
{

/// The one program object; it knows the program's name ("Ordwick"), which names its folders and
/// captions.
class Application
{
public:
    explicit Application(String name);
    virtual ~Application();
    Application(const Application &) = delete;
    Application &operator=(const Application &) = delete;

    /// The running program; null before it is made and after it is gone.
    static Application *Get();

    const String &Name() const
    {
        return m_name;
    }

private:
    String m_name;
};

} // namespace ostrel
