#include "cli/RulesArguments.h"

#include <CLI/CLI.hpp>
#include <array>
#include <limits>

#include "cli/NumberTexts.h"

namespace cli
{

namespace
{

// By column of the list.
constexpr std::array k_sort_names = {"name", "size", "date"};

constexpr double k_day = 24 * 60 * 60;

} // namespace

void RulesArguments::Declare(CLI::App &verb)
{
    verb.add_option("--min-size", m_minSize, "bytes; a smaller file is bad (500)")
        ->check(WholeBetween(0, std::numeric_limits<unsigned>::max()));
    verb.add_option("--offset", m_offset,
                    "rows on each side that a file's size is held against (5)")
        ->check(WholeBetween(0, std::numeric_limits<int>::max()));
    verb.add_option("--variation", m_variation,
                    "percent by which a size may differ from the mean of those (15)")
        ->check(NumberBetween(0, double(std::numeric_limits<float>::max())));
    verb.add_option("--sort", m_sort, "order of the rows: name (the number in it), size or date")
        ->check(CLI::IsMember(std::vector<std::string>(k_sort_names.begin(), k_sort_names.end())));
    verb.add_flag("--descending", m_isDescending, "the other way round");
    verb.add_option("--wait-stable", m_waitStable,
                    "SECONDS; a file changed less than that ago is looked at again before it is "
                    "judged")
        ->check(NumberBetween(0, k_day));
    verb.add_option("--retry-missing", m_retryMissing,
                    "look so often again, a second apart, before a file is missing")
        ->check(WholeBetween(0, k_day));
}

analysis::ScanRules RulesArguments::Rules() const
{
    analysis::AnalysisOptions options;
    if (!m_minSize.empty())
        options.minSize = unsigned(*ReadWhole(m_minSize));
    if (!m_offset.empty())
        options.frameOffset = int(*ReadWhole(m_offset));
    if (!m_variation.empty())
        options.sizeVariationPercent = float(*ReadNumber(m_variation));
    return options.Rules();
}

analysis::SortState RulesArguments::Order() const
{
    analysis::SortState order;
    const auto name = std::find(k_sort_names.begin(), k_sort_names.end(), m_sort);
    if (name != k_sort_names.end())
        order.m_sortColumn = int(name - k_sort_names.begin());
    order.m_sortAscending = !m_isDescending;
    return order;
}

check::LookAgainRules RulesArguments::LookAgain() const
{
    check::LookAgainRules rules;
    if (!m_waitStable.empty())
        rules.stableAfterNs = std::int64_t(*ReadNumber(m_waitStable) * 1e9);
    if (!m_retryMissing.empty())
        rules.retriesOfMissing = unsigned(*ReadWhole(m_retryMissing));
    return rules;
}

} // namespace cli
