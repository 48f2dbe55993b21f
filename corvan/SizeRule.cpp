#include "corvan/SizeRule.h"

#include <algorithm>

#include "corvan/Job.h"

namespace corvan
{

const String p_SizeRule = "SizeRule";

std::string_view SizeRuleName(SizeRule rule)
{
    return k_SizeRuleNames[std::size_t(rule)];
}

std::optional<SizeRule> FindSizeRule(std::string_view name)
{
    const auto found = std::ranges::find(k_SizeRuleNames, name);
    if (found == k_SizeRuleNames.end())
        return std::nullopt;
    return SizeRule(found - k_SizeRuleNames.begin());
}

SizeRule SizeRuleOf(const Job &job)
{
    const String name = job.ParameterText(p_SizeRule, true);
    return FindSizeRule(name).value_or(SizeRule::Neighbours);
}

} // namespace corvan
