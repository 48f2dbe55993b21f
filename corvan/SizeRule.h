#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "ostrel/String.h"

namespace corvan
{

using ostrel::String;

class Job;

/// How the size of a frame's file is held against those around it.
enum class SizeRule
{
    Neighbours, ///< "neighbours": against their mean, as the window does.
    Robust,     ///< "robust": against their median; see `analysis/RobustRule.h`.
};

/// Their names, in the order of the enumeration.
inline constexpr std::array<std::string_view, 2> k_SizeRuleNames = {"neighbours", "robust"};

std::string_view SizeRuleName(SizeRule rule);

/// The rule of a name; nothing for what is none.
std::optional<SizeRule> FindSizeRule(std::string_view name);

/// "SizeRule": the name of the rule for all but the window, which has its own.
extern const String p_SizeRule;

/// What a job says, or its type; the neighbours' rule where neither says anything.
SizeRule SizeRuleOf(const Job &job);

} // namespace corvan
