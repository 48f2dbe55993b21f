#include "cli/CheckArguments.h"

#include <algorithm>
#include <fmt/format.h>
#include <unistd.h>

#include "cli/ProgressBar.h"
#include "cli/ShownText.h"

namespace cli
{

void CheckArguments::Declare(CLI::App &verb)
{
    m_rules.Declare(verb);
    m_decode.Declare(verb);
}

check::CheckRules CheckArguments::Rules() const
{
    return {m_rules.Rules(), m_rules.Order(), m_rules.LookAgain(), m_rules.SizeRule()};
}

void CheckArguments::Check(check::CheckTable &table)
{
    ProgressBar bar(stderr, true);
    const bool isShown = isatty(STDERR_FILENO) == 1;
    const auto show = [&](std::size_t done, std::size_t all)
    {
        if (isShown)
            bar.Show({unsigned(all), unsigned(done), 0});
    };
    const check::CheckRules rules = Rules();
    if (m_decode.IsWanted())
        m_decoder.Announce(table.frames.size(), m_decode.Limits());
    LookAtTable(table, rules, m_clock, show);
    if (m_decode.IsWanted())
        m_decoder.Decode(table, rules.scan.frameOffset, m_decode.Limits(), show);
    bar.Clear();
    TellTroubles(table);
}

void CheckArguments::TellTroubles(const check::CheckTable &table)
{
    String text;
    if (!table.troubles.empty())
    {
        const auto &[row, trouble] = *table.troubles.begin();
        const std::size_t count = table.troubles.size();
        text =
            fmt::format("could not look into {} {}, {}{}: {}", count, count == 1 ? "file" : "files",
                        count == 1 ? "" : "the first ", table.PathOf(row).Text(), trouble);
    }
    // One pass after the other would tell the same.
    if (!text.empty() && text != m_told)
        fmt::print(stderr, "corvan: {}\n", ShownText(text));
    m_told = text;
}

ExitStatus StatusUnlessUnseen(const check::CheckSubject &subject, ExitStatus otherwise)
{
    const bool isAllSeen = std::ranges::all_of(subject.tables, [](const check::CheckTable &table)
                                               { return table.troubles.empty(); });
    return isAllSeen && subject.withoutFile.empty() ? otherwise : k_CannotLook;
}

} // namespace cli
