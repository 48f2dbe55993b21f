#pragma once

#include <map>
#include <optional>
#include <string>

#include "analysis/ScanRules.h"
#include "analysis/SortFiles.h"
#include "check/LookAgain.h"
#include "corvan/SizeRule.h"

namespace CLI
{
class App;
}

namespace cli
{

/// The arguments that say when a frame is bad.
class RulesArguments
{
public:
    void Declare(CLI::App &verb);

    /// What was said; the window's defaults where nothing was.
    analysis::ScanRules Rules() const;
    /// Nothing where nothing was said.
    std::optional<corvan::SizeRule> SizeRule() const;
    analysis::SortState Order() const;
    check::LookAgainRules LookAgain() const;

private:
    std::map<std::string, std::string> m_given; ///< Analysis options by their key; empty where not.
    std::string m_sizeRule;
    std::string m_sort;
    bool m_isDescending = false;
    std::string m_waitStable;
    std::string m_retryMissing;
};

} // namespace cli
