#include "cli/CheckWriter.h"

#include <CLI/CLI.hpp>

#include "check/CheckJson.h"
#include "cli/CheckText.h"
#include "cli/RangeText.h"
#include "cli/ShownText.h"

namespace cli
{

void CheckWriter::Declare(CLI::App &verb)
{
    CLI::Option *json = verb.add_flag("--json", m_asJson, "all frames as JSON");
    CLI::Option *paths = verb.add_flag("--paths", m_asPaths, "the paths of bad frames alone");
    paths->excludes(json);
    verb.add_flag("-0", m_isZeroEnded, "end each path with a zero byte, not a newline")
        ->needs(paths);
}

void CheckWriter::Begin(const CheckTable &table, const String &range)
{
    if (IsText())
        WriteHeading(m_out, table, range);
    m_out.Flush(); // What follows may take long.
}

void CheckWriter::Write(const CheckTable &table)
{
    if (IsText())
        WriteReport(m_out, table, WantsColours(stdout));
    else if (m_asPaths)
        WritePaths(table);
}

void CheckWriter::End(const CheckSubject &subject, check::CheckDepth depth)
{
    if (m_asJson)
        WriteJson(m_out, subject.job.get(), subject.tables, depth);
    m_out.Flush();
}

void CheckWriter::WriteChanges(const CheckTable &table, const StateChanges &changes)
{
    if (!IsText())
        return;
    for (const auto &[kind, change] : changes)
        m_out << ostrel::Time::Now().Format(ostrel::k_DateTimeNoMS, true, false) << "  "
              << StateText(kind.first) << " -> " << StateText(kind.second) << "  "
              << RangeText(change.frames) << "  " << ShownText(table.PathOf(change.firstRow).Text())
              << '\n';
    m_out << CountsLine(table) << '\n';
    m_out.Flush();
}

void CheckWriter::WriteCrops(std::size_t count, const String &folder)
{
    if (!IsText() || count == 0)
        return;
    m_out << std::to_string(count) << (count == 1 ? " crop in " : " crops in ")
          << ShownOn(stdout, folder) << '\n';
    m_out.Flush();
}

void CheckWriter::WritePaths(const CheckTable &table)
{
    for (std::size_t row = 0; row < table.frames.size(); ++row)
        if (table.states[row] != check::CheckState::Ok)
        {
            const ostrel::Path path = table.PathOf(row);
            if (m_isZeroEnded)
                m_out << path.Text() << '\0';
            else
                m_out << ShownOn(stdout, path.Text()) << '\n';
        }
}

} // namespace cli
