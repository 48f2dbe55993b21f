#pragma once

#include <ostream>

#include "ostrel/Path.h"
#include "ostrel/String.h"
#include "ostrel/Time.h"
#include "ostrel/UID.h"

// How a failed comparison shows the library's values; GoogleTest takes a String for a container of
// characters.
namespace ostrel
{

inline void PrintTo(const String &text, std::ostream *stream)
{
    *stream << '"' << static_cast<const std::string &>(text) << '"';
}

inline void PrintTo(const Path &path, std::ostream *stream)
{
    PrintTo(path.Text(), stream);
}

inline void PrintTo(const UID &uid, std::ostream *stream)
{
    *stream << static_cast<const std::string &>(uid.ToString());
}

inline void PrintTo(const Time &time, std::ostream *stream)
{
    *stream << time.First() << " ns";
}

} // namespace ostrel
