#pragma once

#include <map>
#include <memory>
#include <span>
#include <unordered_map>

#include "check/LookAtTable.h"
#include "check/pictures/PictureJudge.h"
#include "decode/DecodeFiles.h"
#include "decode/Findings.h"

namespace check
{

/// Reads the images of judged tables.
///
/// Remembers what it has read, so that from one pass to the next only new and changed files are
/// read.
class TableDecoder
{
public:
    /// Says that a table of so many frames will be decoded with these limits, before it is looked
    /// at: the first time its decoders start meanwhile, since most files will have to be read.
    void Announce(std::size_t frames, const decode::DecodeLimits &limits);

    /// Which numbers are let pass from here on.
    void SetRules(const decode::NumberRules &rules)
    {
        m_rules = rules;
    }

    /// Reads what is there, and stores what was found: a frame that was ok takes the state of its
    /// image, any other keeps its own, and every finding is told in the table's details. `depth` is
    /// `Images` or `Pictures`.
    /// `frameOffset` rows on each side are an image's neighbours. Throws `CheckException *` when no
    /// decoder can be started.
    void Decode(CheckTable &table, int frameOffset, const decode::DecodeLimits &limits,
                CheckDepth depth, const Progress &progress);

private:
    /// A file as it was when it was read.
    struct Seen
    {
        std::uint64_t size = 0;
        std::int64_t modifiedNs = 0;
        CheckDepth depth = CheckDepth::Images;
        decode::ImageReport report;
    };

    void ReadNews(const CheckTable &table, const decode::DecodeLimits &limits, CheckDepth depth,
                  const Progress &progress);
    bool IsKnown(const ostrel::Path &path, const analysis::FrameRecord &frame,
                 CheckDepth depth) const;

    void HoldAgainstEachOther(CheckTable &table,
                              std::span<const decode::ImageReport *const> reports);

    decode::NumberRules m_rules;
    std::unordered_map<ostrel::Path, Seen> m_seen;
    std::map<String, PictureJudge> m_judges;    ///< By the tables' patterns.
    std::unique_ptr<decode::DecodeCrew> m_crew; ///< Started ahead; null where none was.
};

/// Stores what holding a picture against those around it has shown.
void AddFinding(CheckTable &table, std::size_t row, const PictureFinding &finding);
/// Stores findings, one a row.
void AddFindings(CheckTable &table, std::span<const decode::ImageFinding> findings);

} // namespace check
