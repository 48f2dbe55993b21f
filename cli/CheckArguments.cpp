#include "cli/CheckArguments.h"

#include <unistd.h>

#include "cli/ProgressBar.h"

namespace cli
{

void CheckArguments::Declare(CLI::App &verb)
{
    m_rules.Declare(verb);
    m_decode.Declare(verb);
}

check::CheckRules CheckArguments::Rules() const
{
    return {m_rules.Rules(), m_rules.Order(), m_rules.LookAgain()};
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
    LookAtTable(table, rules, m_clock, show);
    if (m_decode.IsWanted())
        m_decoder.Decode(table, rules.scan.frameOffset, m_decode.Limits(), show);
    bar.Clear();
}

} // namespace cli
