#include "check/BadFrames.h"

#include "analysis/Expansion.h"
#include "check/Digest.h"

namespace check
{

using Items = corvan::SequenceDistributor::Items;

namespace
{

constexpr std::size_t k_key_digits = 16;

void AddFinding(const CheckTable &table, std::size_t row, Digest &digest)
{
    digest.Add(table.format);
    digest.Add(std::uint64_t(table.states[row]));
    digest.Add(table.frames[row].exists ? table.frames[row].size : 0);
    const auto detail = table.details.find(row);
    digest.Add(detail == table.details.end() ? String() : detail->second);
}

} // namespace

BadFrames FindBadFrames(std::span<const CheckTable> tables)
{
    std::map<int, Digest> digests;
    for (const CheckTable &table : tables)
        for (std::size_t row = 0; row < table.frames.size(); ++row)
            if (table.states[row] != CheckState::Ok)
                AddFinding(table, row, digests[table.frames[row].frame]);
    BadFrames frames;
    for (const auto &[frame, digest] : digests)
        frames[digest.Text()].insert(frame);
    return frames;
}

Items AllOf(const BadFrames &frames)
{
    Items all;
    for (const auto &[key, some] : frames)
        all.insertAll(some);
    return all;
}

String BadFramesText(const BadFrames &frames)
{
    String text;
    for (const auto &[key, some] : frames)
        text += key + " " + corvan::SequenceDistributor::CalculateRange(some) + "\n";
    return text;
}

std::optional<BadFrames> ParseBadFrames(const String &text)
{
    BadFrames frames;
    Items all;
    for (std::size_t at = 0; at < text.size();)
    {
        const std::size_t end = text.find('\n', at);
        if (end == String::npos || end < at + k_key_digits + 1 || text[at + k_key_digits] != ' ')
            return std::nullopt;
        const String key = text.substr(at, k_key_digits);
        const String range = text.substr(at + k_key_digits + 1, end - at - k_key_digits - 1);
        Items &some = frames[key];
        if (!IsDigest(key) || !some.empty() ||
            !corvan::SequenceDistributor::ParseRange(range, some, nullptr) || some.empty())
            return std::nullopt;
        // Of a frame one thing is found, whatever that is.
        if (all.insertAll(some) < some.size() || all.size() > analysis::k_MaxFiles)
            return std::nullopt;
        at = end + 1;
    }
    return frames;
}

Items FindChanged(const BadFrames &before, const BadFrames &now)
{
    Items changed;
    for (const auto &[key, frames] : now)
    {
        Items others = frames;
        if (const auto same = before.find(key); same != before.end())
            others.eraseAll(same->second);
        changed.insertAll(others);
    }
    return changed;
}

} // namespace check
