#pragma once

#include <functional>
#include <map>
#include <memory>
#include <span>

#include "check/LookAtTable.h"
#include "check/SeenImages.h"
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
    /// Remembers all: for tables that are looked at again and again.
    TableDecoder() = default;
    /// Remembers so many files, those that were asked for last: for parts of tables, now of these
    /// and now of others.
    explicit TableDecoder(std::size_t mostFiles) : m_remembersTables(false), m_seen(mostFiles) {}

    /// How many files it remembers from one pass to the next.
    std::size_t MostFiles() const
    {
        return m_seen.Most();
    }

    /// Says that a table of so many frames will be decoded with these limits, before it is looked
    /// at: its decoders start meanwhile, and serve all tables until `Rest`. Where tables were
    /// decoded before that it does nothing: hardly a file will have to be read.
    void Announce(std::size_t frames, const decode::DecodeLimits &limits);
    /// Ends the decoders: there is no further table for now.
    void Rest()
    {
        m_crew.reset();
    }

    /// From here on forgets what a picture looks like once those around it are judged: for tables
    /// that are decoded once. A frame takes some hundred bytes instead of some KiB then. A table
    /// that is decoded for its pictures again is read again.
    void ForgetPictures()
    {
        m_forgetsPictures = true;
    }

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
    /// Told the index of a row among those to read, and what reading it has shown.
    using Keep = std::function<void(std::size_t, const decode::ImageReport &)>;

    void ReadNews(const CheckTable &table, const decode::DecodeLimits &limits, CheckDepth depth,
                  const Progress &progress);
    PictureFindings ReadAndForget(const CheckTable &table, const decode::DecodeLimits &limits,
                                  const Progress &progress);
    void Read(std::span<const ostrel::Path> paths, const decode::DecodeLimits &limits,
              CheckDepth depth, const Keep &keep);
    PictureFindings HoldAgainstEachOther(const CheckTable &table,
                                         std::span<const decode::ImageReport *const> reports);

    decode::NumberRules m_rules;
    const bool m_remembersTables = true;
    bool m_forgetsPictures = false;
    SeenImages m_seen;
    std::map<String, PictureJudge> m_judges;    ///< By the tables' patterns.
    std::unique_ptr<decode::DecodeCrew> m_crew; ///< Started ahead; null where there is none.
};

/// Stores what holding a picture against those around it has shown.
void AddFinding(CheckTable &table, std::size_t row, const PictureFinding &finding);
/// Stores findings, one a row.
void AddFindings(CheckTable &table, std::span<const decode::ImageFinding> findings);

} // namespace check
