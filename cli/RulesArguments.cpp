#include "cli/RulesArguments.h"

#include <CLI/CLI.hpp>
#include <array>
#include <fmt/format.h>
#include <type_traits>

#include "cli/NumberTexts.h"
#include "corvan/AnalysisOptions.h"

namespace cli
{

using corvan::AnalysisOption;

namespace
{

// By column of the list.
constexpr std::array k_sort_names = {"name", "size", "date"};

constexpr double k_day = 24 * 60 * 60;

CLI::Validator CheckOf(const AnalysisOption &option)
{
    const bool isWhole = !std::holds_alternative<float corvan::AnalysisOptions::*>(option.field);
    return isWhole ? WholeBetween(static_cast<long long>(option.least),
                                  static_cast<long long>(option.most))
                   : NumberBetween(option.least, option.most);
}

/// The text has passed its check.
void SetField(corvan::AnalysisOptions &options, const AnalysisOption &option,
              const std::string &text)
{
    std::visit(
        [&](auto field)
        {
            using Value = std::remove_reference_t<decltype(options.*field)>;
            options.*field = static_cast<Value>(*ReadNumber(text));
        },
        option.field);
}

} // namespace

void RulesArguments::Declare(CLI::App &verb)
{
    for (const AnalysisOption &option : corvan::k_AnalysisOptions)
        if (*option.option)
            verb.add_option(option.option, m_given[option.key],
                            fmt::format("{} ({})", option.help, corvan::AnalysisText(option, {})))
                ->check(CheckOf(option))
                ->type_name("N");
    verb.add_option("--rule", m_sizeRule,
                    "what a size is held against: neighbours (their mean; of a JOB with a "
                    "SizeRule that one) or robust (their median)")
        ->check(CLI::IsMember(std::vector<std::string>(corvan::k_SizeRuleNames.begin(),
                                                       corvan::k_SizeRuleNames.end())))
        ->type_name("RULE");
    verb.add_option("--sort", m_sort, "order of the rows: name (the number in it), size or date")
        ->check(CLI::IsMember(std::vector<std::string>(k_sort_names.begin(), k_sort_names.end())))
        ->type_name("ORDER");
    verb.add_flag("--descending", m_isDescending, "the other way round");
    verb.add_option("--wait-stable", m_waitStable,
                    "a file changed less than that ago is looked at again before it is judged")
        ->check(NumberBetween(0, k_day))
        ->type_name("SECONDS");
    verb.add_option("--retry-missing", m_retryMissing,
                    "look so often again, a second apart, before a file is missing")
        ->check(WholeBetween(0, k_day))
        ->type_name("N");
}

analysis::ScanRules RulesArguments::Rules() const
{
    corvan::AnalysisOptions options;
    for (const AnalysisOption &option : corvan::k_AnalysisOptions)
        if (const auto given = m_given.find(option.key);
            given != m_given.end() && !given->second.empty())
            SetField(options, option, given->second);
    return analysis::RulesOf(options);
}

std::optional<corvan::SizeRule> RulesArguments::SizeRule() const
{
    return corvan::FindSizeRule(m_sizeRule);
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
