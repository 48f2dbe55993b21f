#include "cli/FrameSelection.h"

#include <CLI/CLI.hpp>

namespace cli
{

using corvan::SequenceDistributor;

void FrameSelection::Declare(CLI::App &verb)
{
    auto *bad = verb.add_flag("--bad", m_isBad, "all bad frames");
    verb.add_option("--selected", m_selected, "RANGE; the frames of these numbers: 3,7-9")
        ->excludes(bad);
    m_check.Declare(verb);
}

std::vector<std::vector<std::size_t>> FrameSelection::Find(CheckSubject &subject)
{
    if (!m_isBad && m_selected.empty())
        throw new Failure(k_WrongUsage, "which frames? Give --bad or --selected");
    SequenceDistributor::Items numbers;
    String reason;
    if (!SequenceDistributor::ParseRange(m_selected, numbers, &reason))
        throw new Failure(k_WrongUsage, "--selected: " + reason);

    std::vector<std::vector<std::size_t>> rows;
    for (check::CheckTable &table : subject.tables)
    {
        ListFrames(subject.input, table);
        m_check.Check(table);
        auto &selected = rows.emplace_back();
        for (std::size_t row = 0; row < table.frames.size(); ++row)
            if (m_isBad ? table.states[row] != check::CheckState::Ok
                        : numbers.contains(table.frames[row].frame))
                selected.push_back(row);
    }
    return rows;
}

} // namespace cli
