#include "cli/CheckArguments.h"

#include <CLI/CLI.hpp>
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

CLI::Option *CheckArguments::DeclareSealed(CLI::App &verb)
{
    return verb
        .add_option("--sealed", m_sealed,
                    "a hash list (see corvan seal): read every file whole, and find those that "
                    "have changed since; may be given several times")
        ->allow_extra_args(false)
        ->type_name("FILE");
}

check::CheckRules CheckArguments::Rules() const
{
    return {m_rules.Rules(), m_rules.Order(), m_rules.LookAgain(), m_rules.SizeRule()};
}

void CheckArguments::Check(check::CheckTable &table)
{
    NeedSense();
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
    TellVariation(table);
    if (m_decode.IsWanted())
    {
        m_decoder.SetRules(m_decode.Numbers());
        if (!m_hasPasses)
            m_decoder.ForgetPictures();
        m_decoder.Decode(table, rules.scan.frameOffset, m_decode.Limits(), Depth(), show);
    }
    if (!m_sealed.empty())
    {
        if (!m_seals)
            m_seals.emplace(std::vector<ostrel::Path>(m_sealed.begin(), m_sealed.end()));
        m_seals->Check(table, show);
    }
    bar.Clear();
    TellTroubles(table, m_told);
}

check::Sealed CheckArguments::Seal(check::CheckTable &table, const std::vector<bool> &isWanted,
                                   const check::SealWish &wish)
{
    ProgressBar bar(stderr, true);
    const bool isShown = isatty(STDERR_FILENO) == 1;
    check::Sealed sealed = SealFrames(table, isWanted, wish,
                                      [&](std::size_t done, std::size_t all)
                                      {
                                          if (isShown)
                                              bar.Show({unsigned(all), unsigned(done), 0});
                                      });
    bar.Clear();
    TellTroubles(table, m_toldOfSeals);
    return sealed;
}

void CheckArguments::TellVariation(const check::CheckTable &table)
{
    if (m_isVariationTold || table.sizeRule != corvan::SizeRule::Neighbours ||
        m_rules.Rules().sizeVariation <= 1)
        return;
    m_isVariationTold = true;
    fmt::print(stderr, "corvan: with a --variation above 100 each frame that has neighbours is an "
                       "outlier, as in the window; --rule robust takes any\n");
}

void CheckArguments::TellTroubles(const check::CheckTable &table, ostrel::String &told)
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
    if (!text.empty() && text != told)
        fmt::print(stderr, "corvan: {}\n", ShownText(text));
    told = text;
}

ExitStatus StatusUnlessUnseen(const check::CheckSubject &subject, ExitStatus otherwise)
{
    const bool isAllSeen = std::ranges::all_of(subject.tables, [](const check::CheckTable &table)
                                               { return table.troubles.empty(); });
    return isAllSeen && subject.withoutFile.empty() ? otherwise : k_CannotLook;
}

} // namespace cli
