#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

/// One file of a `FaultyDisk`: what programs see of it, and what a power cut would leave.
class DiskFile
{
public:
    /// What is written at once, or not at all.
    static constexpr std::size_t k_SectorBytes = 512;

    using Random = std::mt19937_64;

    /// What a power cut takes of the writes that were not synced.
    enum class Loss
    {
        All,
        Some, ///< Each of them, or sectors of it, or nothing of it.
    };

    const std::string &Seen() const
    {
        return m_seen;
    }
    /// The file is on disk as it is given here.
    void Fill(std::string content);

    /// Beyond the end there are zeros up to `offset`.
    void Write(std::size_t offset, std::string_view data);
    void Truncate(std::size_t size);

    /// What was written is on disk.
    void Sync();
    /// A sync that failed: what was written is on disk or not, and no later one sees to it.
    void SyncInVain(Random &random);
    void CutPower(Loss loss, Random &random);

private:
    struct Change
    {
        std::size_t offset = 0; ///< Of `data`, or the new size.
        std::string data{};
        bool isTruncation = false;
    };

    static void Carry(const Change &change, std::string &content);
    static void CarrySome(const Change &change, std::string &content, Random &random);

    std::string m_seen;
    std::string m_kept;
    std::vector<Change> m_unsynced; // In the order in which they came.
};
