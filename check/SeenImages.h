#pragma once

#include <limits>
#include <unordered_map>

#include "analysis/FrameRecord.h"
#include "check/CheckState.h"
#include "decode/ImageReport.h"
#include "ostrel/Path.h"

namespace check
{

/// What reading image files has shown, by their paths, for as long as they are as they were. Not
/// thread-safe.
class SeenImages
{
public:
    static constexpr std::size_t k_All = std::numeric_limits<std::size_t>::max();

    /// Remembers so many files from one pass to the next, and those of the pass. One takes some
    /// 10 KiB at most where its picture was measured.
    explicit SeenImages(std::size_t most = k_All) : m_most(most) {}

    std::size_t Most() const
    {
        return m_most;
    }
    bool IsEmpty() const
    {
        return m_files.empty();
    }

    /// What is asked for or kept from here on is of a new pass. Where there is more than is to be
    /// remembered, what no pass has asked for since the longest time is forgotten.
    void BeginPass();

    /// Whether a file was read without trouble, at this depth or a greater one, and is as it was
    /// then.
    bool IsKnown(const ostrel::Path &path, const analysis::FrameRecord &frame, CheckDepth depth);
    void Keep(const ostrel::Path &path, const analysis::FrameRecord &frame, CheckDepth depth,
              const decode::ImageReport &report);
    /// Of a file that is known or was kept in this pass; good until the next one begins.
    const decode::ImageReport &At(const ostrel::Path &path) const
    {
        return m_files.at(path).report;
    }

private:
    /// A file as it was when it was read.
    struct Seen
    {
        std::uint64_t size = 0;
        std::int64_t modifiedNs = 0;
        CheckDepth depth = CheckDepth::Images;
        std::uint64_t pass = 0; ///< The last one that asked for it.
        decode::ImageReport report;
    };

    std::size_t m_most;
    std::uint64_t m_pass = 0;
    std::unordered_map<ostrel::Path, Seen> m_files;
};

} // namespace check
