#include "check/CheckJson.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <nlohmann/json.hpp>
#include <thread>
#include <vector>

#include "analysis/RobustRule.h"
#include "check/JsonControls.h"

namespace check
{

using analysis::FramePattern;
using analysis::FrameRecord;

namespace
{

/// A text as JSON, with its quotes.
std::string Quoted(const std::string &text)
{
    return WithoutControls(
        nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

/// A text as JSON, to stand within quotes.
std::string JsonEscaped(const std::string &text)
{
    const std::string quoted = Quoted(text);
    return quoted.substr(1, quoted.size() - 2);
}

/// Paths of one pattern as JSON: what is before and after the number is escaped once, and a number
/// has nothing to escape.
class PathTexts
{
public:
    explicit PathTexts(const FramePattern &pattern)
        : m_pattern(pattern), m_before(JsonEscaped(pattern.Before())),
          m_after(JsonEscaped(pattern.After()))
    {
    }

    void Append(std::string &out, int number) const
    {
        out.append(m_before);
        m_pattern.AppendNumber(out, number);
        out.append(m_after);
    }

private:
    const FramePattern &m_pattern;
    std::string m_before;
    std::string m_after;
};

void AppendNumber(std::string &out, std::uint64_t number)
{
    char digits[24];
    const auto result = std::to_chars(digits, digits + sizeof digits, number);
    out.append(digits, result.ptr);
}

/// What the disk said; nothing of a file that is missing.
void AppendLook(std::string &out, const FrameRecord &frame)
{
    if (!frame.exists)
    {
        out += R"(","size":null,"modified":null)";
        return;
    }
    out += R"(","size":)";
    AppendNumber(out, frame.size);
    out += R"(,"modified":")";
    frame.modified.AppendIso(out);
    out += '"';
}

using Scores = std::vector<float>;

/// One a row where a table was judged by the robust rule, no number where there is none; else none
/// at all.
Scores ScoresOf(const CheckTable &table)
{
    Scores scores;
    if (table.sizeRule != corvan::SizeRule::Robust || table.states.empty())
        return scores;
    scores.reserve(table.frames.size());
    analysis::VisitRobustBands(
        table.frames, table.rules,
        [&](std::size_t, const std::optional<analysis::RobustBand> &band)
        { scores.push_back(band ? float(band->score) : std::numeric_limits<float>::quiet_NaN()); });
    return scores;
}

void AppendScore(std::string &out, float score)
{
    out += R"(,"score":)";
    if (std::isnan(score))
        out += "null";
    else
        fmt::format_to(std::back_inserter(out), "{:.4g}", score);
}

void AppendRow(std::string &out, const CheckTable &table, std::size_t row, const PathTexts &paths,
               const Scores &scores)
{
    const FrameRecord &frame = table.frames[row];
    out += R"({"frame":)";
    if (frame.frame < 0)
        out += '-';
    AppendNumber(out, std::uint64_t(std::abs(std::int64_t(frame.frame))));
    out += R"(,"path":")";
    paths.Append(out, frame.frame);
    out += R"(","state":")";
    out += StateText(table.states[row]);
    AppendLook(out, frame);
    if (const auto detail = table.details.find(row); detail != table.details.end())
        out.append(R"(,"detail":)").append(Quoted(detail->second));
    if (const auto place = table.places.find(row); place != table.places.end())
        fmt::format_to(std::back_inserter(out),
                       R"(,"place":{{"x":{},"y":{},"width":{},"height":{}}})", place->second.x,
                       place->second.y, place->second.width, place->second.height);
    if (const auto trouble = table.troubles.find(row); trouble != table.troubles.end())
        out.append(R"(,"not-looked-at":)").append(Quoted(trouble->second));
    if (!scores.empty())
        AppendScore(out, scores[row]);
    out += '}';
}

/// Rows are made in pieces, several at once; the pieces of one turn are all that is kept.
constexpr std::size_t k_piece = 2048;

void MakePiece(const CheckTable &table, const PathTexts &paths, const Scores &scores,
               std::size_t first, std::string &piece)
{
    piece.clear();
    const std::size_t end = std::min(first + k_piece, table.frames.size());
    for (std::size_t row = first; row < end; ++row)
    {
        piece += row > 0 ? ",\n" : "\n";
        AppendRow(piece, table, row, paths, scores);
    }
}

void WriteRows(TextWriter &out, const CheckTable &table)
{
    const PathTexts paths(table.pattern);
    const Scores scores = ScoresOf(table);
    std::vector<std::string> pieces(std::max(std::thread::hardware_concurrency(), 1u));
    for (std::size_t row = 0; row < table.frames.size();)
    {
        {
            std::vector<std::jthread> others;
            for (std::size_t i = 1; i < pieces.size() && row + i * k_piece < table.frames.size();
                 ++i)
                others.emplace_back(
                    [&, i] { MakePiece(table, paths, scores, row + i * k_piece, pieces[i]); });
            MakePiece(table, paths, scores, row, pieces[0]);
        } // Joined here, before the pieces are read.
        for (std::size_t i = 0; i < pieces.size() && row < table.frames.size(); ++i)
        {
            out << pieces[i];
            row += k_piece;
        }
    }
}

void WriteCounts(TextWriter &out, const CheckTable &table, CheckDepth depth)
{
    out << R"("counts":{"files":)" << table.frames.size();
    const StateCounts counts = CountStates(table);
    for (const CheckState state : k_CheckStates)
        if (state == CheckState::Changed ? table.isSealed : DepthOf(state) <= depth)
            out << ",\"" << StateText(state) << "\":" << counts[std::size_t(state)];
    out << '}';
}

} // namespace

void WriteJson(TextWriter &out, const corvan::Job *job, std::span<const CheckTable> tables,
               CheckDepth depth)
{
    out << R"({"job":)" << (job ? Quoted(job->ID().ToString()) : "null") << R"(,"tables":[)";
    for (const CheckTable &table : tables)
    {
        out << (&table == tables.data() ? "\n" : ",\n");
        out << R"({"format":)" << Quoted(table.format) << R"(,"frames":[)";
        WriteRows(out, table);
        out << "],\n";
        WriteCounts(out, table, depth);
        out << R"(,"bad":)"
            << Quoted(corvan::SequenceDistributor::CalculateRange(FindBadFrames(table))) << '}';
    }
    out << "]}\n";
}

} // namespace check
