#pragma once

#include <string>

#include "decode/DecodeFiles.h"

namespace CLI
{
class App;
}

namespace cli
{

/// The arguments that ask for a look into the images.
class DecodeArguments
{
public:
    void Declare(CLI::App &verb);

    bool IsWanted() const
    {
        return m_isWanted;
    }
    /// What was said; the defaults where nothing was.
    decode::DecodeLimits Limits() const;

private:
    bool m_isWanted = false;
    std::string m_jobs;
    std::string m_seconds;
    std::string m_memory;
};

} // namespace cli
