#pragma once

#include <string>

#include "check/CheckState.h"
#include "decode/DecodeFiles.h"
#include "decode/Findings.h"

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

    check::CheckDepth Depth() const
    {
        return m_arePicturesWanted ? check::CheckDepth::Pictures
               : m_isWanted        ? check::CheckDepth::Images
                                   : check::CheckDepth::Sizes;
    }
    bool IsWanted() const
    {
        return Depth() != check::CheckDepth::Sizes;
    }
    /// Wrong usage where limits were given and nothing is read.
    void NeedWish() const;
    /// What was said; the defaults where nothing was.
    decode::DecodeLimits Limits() const;
    decode::NumberRules Numbers() const;

private:
    bool m_isWanted = false;
    bool m_arePicturesWanted = false;
    std::string m_nanLimit;
    bool m_isNegativeBad = false;
    std::string m_jobs;
    std::string m_seconds;
    std::string m_memory;
};

} // namespace cli
