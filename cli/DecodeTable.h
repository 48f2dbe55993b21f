#pragma once

#include <span>
#include <string>

#include "cli/LookAtTable.h"
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

/// Reads the images of a judged table that are there, and stores what was found: a frame that was
/// ok takes the state of its image, any other keeps its own, and every finding is told in its
/// details. `frameOffset` rows on each side are an image's neighbours. Throws
/// `ostrel::ProcessException *` when no decoder can be started.
void DecodeTable(CheckTable &table, int frameOffset, const decode::DecodeLimits &limits,
                 const Progress &progress);

/// Stores findings, one a row.
void AddFindings(CheckTable &table, std::span<const decode::ImageFinding> findings);

} // namespace cli
