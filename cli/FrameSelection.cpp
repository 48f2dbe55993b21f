#include "cli/FrameSelection.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "cli/RangeText.h"
#include "corvan/Utf8.h"

namespace cli
{

using corvan::SequenceDistributor;

namespace
{

void TellWhatThereIsNot(const SequenceDistributor::Items &named,
                        const SequenceDistributor::Items &all)
{
    SequenceDistributor::Items strange = named;
    strange.eraseAll(all);
    if (strange.empty())
        return;
    const String text = "there is no frame " + corvan::Excerpt(RangeText(strange)) +
                        "; there are " + corvan::Excerpt(RangeText(all));
    if (strange.size() == named.size())
        throw new Failure(k_Refused, text);
    fmt::print(stderr, "{}\n", text);
}

} // namespace

void FrameSelection::Declare(CLI::App &verb)
{
    auto *bad = verb.add_flag("--bad", m_isBad, "all bad frames");
    verb.add_option("--selected", m_selected, "the frames of these numbers: 3,7-9")
        ->excludes(bad)
        ->type_name("RANGE");
    m_check.Declare(verb);
    m_check.DeclareSealed(verb);
}

std::vector<std::vector<std::size_t>> FrameSelection::Find(CheckSubject &subject)
{
    if (!m_isBad && m_selected.empty())
        throw new Failure(k_WrongUsage, "which frames? Give --bad or --selected");
    SequenceDistributor::Items numbers;
    String reason;
    if (!SequenceDistributor::ParseRange(m_selected, numbers, &reason))
        throw new Failure(k_WrongUsage, "--selected: " + reason);

    SequenceDistributor::Items all;
    std::vector<std::vector<std::size_t>> rows;
    for (check::CheckTable &table : subject.tables)
    {
        ListFrames(subject.input, table);
        m_check.Check(table);
        auto &selected = rows.emplace_back();
        if (!m_isBad)
            for (const analysis::FrameRecord &frame : table.frames)
                all.insert(frame.frame);
        for (std::size_t row = 0; row < table.frames.size(); ++row)
            if (m_isBad ? table.states[row] != check::CheckState::Ok
                        : numbers.contains(table.frames[row].frame))
                selected.push_back(row);
    }
    TellWhatThereIsNot(numbers, all);
    return rows;
}

} // namespace cli
