#include "cli/NearWord.h"

#include <algorithm>
#include <boost/algorithm/string/case_conv.hpp>
#include <vector>

namespace cli
{

namespace
{

// Letters to change, add, leave out or swap with the next to get from one to the other.
std::size_t Distance(const std::string &a, const std::string &b)
{
    std::vector<std::vector<std::size_t>> least(a.size() + 1,
                                                std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i)
        for (std::size_t j = 0; j <= b.size(); ++j)
        {
            std::size_t &here = least[i][j];
            if (i == 0 || j == 0)
            {
                here = i + j;
                continue;
            }
            here = std::min({least[i - 1][j] + 1, least[i][j - 1] + 1,
                             least[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                here = std::min(here, least[i - 2][j - 2] + 1);
        }
    return least[a.size()][b.size()];
}

std::string OnlyBeginning(const std::string &typed, std::span<const std::string> words)
{
    const auto begins = [&](const std::string &word) { return word.starts_with(typed); };
    if (typed.empty() || std::ranges::count_if(words, begins) != 1)
        return {};
    return *std::ranges::find_if(words, begins);
}

} // namespace

std::string NearWord(const std::string &given, std::span<const std::string> words)
{
    constexpr std::size_t k_longest = 40; // No word is as long.
    const std::string typed = boost::algorithm::to_lower_copy(given.substr(0, k_longest));
    std::string nearest = OnlyBeginning(typed, words);
    if (!nearest.empty())
        return nearest;

    std::size_t least = std::max<std::size_t>(typed.size() / 3, 1) + 1;
    for (const std::string &word : words)
        if (const std::size_t distance = Distance(typed, word); distance < least)
        {
            least = distance;
            nearest = word;
        }
    return nearest;
}

} // namespace cli
