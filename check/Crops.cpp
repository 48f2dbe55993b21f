#include "check/Crops.h"

#include <algorithm>
#include <numeric>
#include <set>

namespace check
{

namespace
{

constexpr std::string_view k_separators = "._- ";
// What stands before and after it is much shorter than what a system leaves for it.
constexpr std::size_t k_most_stem_bytes = 160;

String TrimSeparators(std::string_view text)
{
    const std::size_t begin = text.find_first_not_of(k_separators);
    if (begin == std::string_view::npos)
        return {};
    text.remove_prefix(begin);
    return std::string(text.substr(0, text.find_last_not_of(k_separators) + 1));
}

// Whole characters of UTF-8.
void CutTo(String &text, std::size_t bytes)
{
    if (text.size() <= bytes)
        return;
    while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xc0u) == 0x80u)
        --bytes;
    text.resize(bytes);
}

String StemOf(const analysis::FramePattern &pattern)
{
    const std::string_view before = pattern.Before();
    std::string_view after = pattern.After();
    const std::size_t folderEnd = after.rfind('/');
    // The number may be that of a folder.
    const std::string_view beginning = folderEnd == std::string_view::npos
                                           ? before.substr(before.rfind('/') + 1)
                                           : std::string_view();
    after.remove_prefix(folderEnd + 1);
    after = after.substr(0, after.rfind('.'));
    String stem = TrimSeparators(beginning);
    stem = TrimSeparators(std::string(stem) + std::string(after));
    CutTo(stem, k_most_stem_bytes);
    return stem;
}

bool IsShownByPictures(CheckState state)
{
    return state != CheckState::Changed && DepthOf(state) == CheckDepth::Pictures;
}

bool CanBeRead(const CheckTable &table, std::size_t row)
{
    return table.frames[row].exists && table.states[row] != CheckState::Undecodable &&
           !table.troubles.contains(row);
}

String NameOf(const CheckTable &table, std::size_t row, const String &stem)
{
    std::string name = stem;
    if (!name.empty())
        name += '.';
    table.pattern.AppendNumber(name, table.frames[row].frame);
    name += '.';
    name += StateText(table.states[row]);
    return name + ".jpg";
}

} // namespace

std::vector<String> CropStems(std::span<const CheckTable> tables)
{
    std::vector<String> wanted;
    std::set<String> taken;
    for (const CheckTable &table : tables)
        wanted.push_back(StemOf(table.pattern));
    // Those that are nobody else's keep theirs.
    taken.insert(wanted.begin(), wanted.end());

    std::vector<String> stems;
    std::set<String> given;
    for (const String &want : wanted)
    {
        String stem = want;
        if (!given.insert(want).second)
            for (int number = 2; !taken.insert(stem).second; ++number)
                stem = want.empty() ? std::to_string(number) : want + "-" + std::to_string(number);
        stems.push_back(stem);
    }
    return stems;
}

std::vector<Crop> ListCrops(const CheckTable &table, const String &stem)
{
    std::vector<std::size_t> rows(table.frames.size());
    std::iota(rows.begin(), rows.end(), std::size_t(0));
    std::stable_sort(rows.begin(), rows.end(),
                     [&](std::size_t a, std::size_t b)
                     { return table.frames[a].frame < table.frames[b].frame; });

    const auto neighbour = [&](std::size_t at)
    {
        return at < rows.size() && CanBeRead(table, rows[at]) ? table.PathOf(rows[at])
                                                              : ostrel::Path();
    };
    std::vector<Crop> crops;
    for (std::size_t at = 0; at < rows.size(); ++at)
    {
        const std::size_t row = rows[at];
        const auto place = table.places.find(row);
        if (place == table.places.end() || !IsShownByPictures(table.states[row]))
            continue;
        const auto &[x, y, width, height] = place->second;
        Crop crop{NameOf(table, row, stem), {table.PathOf(row)}, table.frames[row].modified};
        // The first has nothing before it: one less than 0 is no row.
        crop.request.strip = {{x, y, width, height}, neighbour(at - 1), neighbour(at + 1)};
        if (table.states[row] == CheckState::Sparks)
            crop.request.strip->cells = decode::StripCells::Brightest;
        crops.push_back(std::move(crop));
    }
    return crops;
}

} // namespace check
