#include "check/PlotSvg.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <set>
#include <vector>

#include "check/PlotAxis.h"
#include "check/PlotPoints.h"

namespace check
{

namespace
{

constexpr double k_width = 1200;
constexpr double k_height = 560;
constexpr double k_left = 90; // Of the field in the picture.
constexpr double k_right = 32;
constexpr double k_legend = 50; // The middle of its first line.
constexpr double k_legend_line = 20;
/// Of the field, beneath a legend of one line.
constexpr double k_top = 76;
constexpr double k_bottom = 62;
/// The strip below the field in which missing frames are marked.
constexpr double k_missing = 14;

std::string Escaped(std::string_view text)
{
    std::string escaped;
    for (const char c : text)
    {
        if (c == '&')
            escaped += "&amp;";
        else if (c == '<')
            escaped += "&lt;";
        else if (c == '>')
            escaped += "&gt;";
        else if (static_cast<unsigned char>(c) < 0x20)
            escaped += '?';
        else
            escaped += c;
    }
    return escaped;
}

const char *ColourNameOf(CheckState state)
{
    switch (state)
    {
    case CheckState::Ok:
        return "ListFocus";
    case CheckState::Missing:
        return "TextGrey";
    case CheckState::TooSmall:
    case CheckState::Undecodable:
    case CheckState::Changed:
        return "TextRed";
    case CheckState::Outlier:
    case CheckState::OddImage:
    case CheckState::Blank:
    case CheckState::Nan:
    case CheckState::Duplicate:
    case CheckState::Black:
    case CheckState::Patch:
    case CheckState::Pop:
    case CheckState::Sparks:
        return "TextOrange";
    }
    return "Text";
}

// What nobody sees by its size: a ring, not a disk.
bool IsOfPicture(CheckState state)
{
    return state != CheckState::Changed && DepthOf(state) == CheckDepth::Pictures;
}

/// Draws one table.
class Plot
{
public:
    Plot(const CheckTable &table, const analysis::ScanRules &rules, const PlotColours &colours)
        : m_table(table), m_colours(colours), m_points(PlotPointsOf(table, rules))
    {
        LayOutLegend();
        SetAxes();
    }

    std::string Draw()
    {
        Begin();
        DrawAxes();
        if (m_points.size() <= std::size_t(m_x.length) / 2)
            DrawEach();
        else
            DrawColumns();
        DrawBad();
        DrawLegend();
        return m_svg + "</svg>\n";
    }

private:
    /// A kind of mark and how many there are, by where it stands.
    struct LegendEntry
    {
        CheckState state;
        std::string text;
        double x;
        double y;
    };
    void LayOutLegend()
    {
        constexpr double k_band_width = 180;
        double x = k_left;
        double y = k_legend;
        const auto need = [&](double width)
        {
            if (x + width <= k_width - k_right)
                return;
            x = k_left;
            y += k_legend_line;
        };
        const StateCounts counts = CountStates(m_table);
        for (const CheckState state : k_CheckStates)
        {
            const std::size_t count = counts[std::size_t(state)];
            if (count == 0 && state != CheckState::Ok)
                continue;
            std::string text = fmt::format("{} {}", count, StateText(state));
            std::ranges::replace(text, '-', ' ');
            const double width = 40 + 8.0 * double(text.size());
            need(width);
            m_legend.push_back({state, std::move(text), x, y});
            x += width;
        }
        need(k_band_width);
        m_bandX = x;
        m_bandY = y;
        m_top = k_top + y - k_legend;
    }

    void SetAxes()
    {
        double most = 0;
        for (const PlotPoint &point : m_points)
        {
            most = std::max(most, point.size);
            // A wide band must not press all sizes flat.
            if (point.hasBand)
                most = std::max(most, std::min(point.highest, 2 * point.size));
        }
        const double first = m_points.empty() ? 0 : m_points.front().frame;
        const double last = m_points.empty() ? 1 : m_points.back().frame;
        m_x = {first - 0.5, last + 0.5, k_width - k_left - k_right};
        m_y = {0, most > 0 ? most * 1.06 : 1, k_height - m_top - k_bottom - k_missing};
    }

    double X(double frame) const
    {
        return k_left + m_x.Place(frame);
    }
    double Y(double size) const
    {
        return m_top + m_y.length - m_y.Place(size);
    }
    const String &Colour(const char *name) const
    {
        return m_colours.at(name);
    }

    template <typename... Values> void Add(const char *text, const Values &...values)
    {
        m_svg += fmt::format(fmt::runtime(text), values...);
    }

    void Begin()
    {
        Add("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{}\" height=\"{}\" "
            "viewBox=\"0 0 {} {}\" font-family=\"sans-serif\" font-size=\"13\" fill=\"{}\">\n",
            k_width, k_height, k_width, k_height, Colour("Text"));
        Add("<rect width=\"100%\" height=\"100%\" fill=\"{}\"/>\n", Colour("ListBG"));
        Add("<text x=\"{}\" y=\"26\" font-size=\"16\">{}</text>\n", k_left,
            Escaped(m_table.format));
    }

    void DrawAxes()
    {
        const double bottom = m_top + m_y.length;
        const double right = k_width - k_right;
        const SizeUnit unit = UnitFor(m_y.most / 1.06);
        const PlotAxis inUnits{0, m_y.most / unit.bytes, m_y.length};
        for (const double number : RoundNumbers(inUnits, 6, unit.bytes == 1))
        {
            const double y = Y(number * unit.bytes);
            Add("<path d=\"M{} {:.1f}H{}\" stroke=\"{}\" stroke-width=\"1\"/>"
                "<text x=\"{}\" y=\"{:.1f}\" text-anchor=\"end\">{}</text>\n",
                k_left, y, right, Colour("ListHighlight"), k_left - 8, y + 4.5, NumberText(number));
        }
        for (const double number : RoundNumbers(m_x, 12, true))
            Add("<path d=\"M{:.1f} {}v6\" stroke=\"{}\"/>"
                "<text x=\"{:.1f}\" y=\"{}\" text-anchor=\"middle\">{}</text>\n",
                X(number), bottom + k_missing, Colour("Text"), X(number), bottom + k_missing + 21,
                NumberText(number));
        Add("<path d=\"M{} {}V{}H{}\" fill=\"none\" stroke=\"{}\"/>\n", k_left, m_top,
            bottom + k_missing, right, Colour("Text"));
        Add("<text x=\"{}\" y=\"{}\" text-anchor=\"middle\">frame</text>\n", (k_left + right) / 2,
            k_height - 10);
        Add("<text transform=\"translate(20 {}) rotate(-90)\" text-anchor=\"middle\">size in "
            "{}</text>\n",
            m_top + m_y.length / 2, unit.name);
    }

    /// The shaded band, by the places of its upper edge from left to right and those below them.
    struct Edge
    {
        double x;
        double lowest;
        double highest;
    };
    void DrawBand(const std::vector<Edge> &edges)
    {
        if (edges.empty())
            return;
        m_svg += "<path d=\"";
        char command = 'M';
        for (const Edge &edge : edges)
        {
            Add("{}{:.1f} {:.1f}", command, edge.x, Y(edge.highest));
            command = 'L';
        }
        for (auto edge = edges.rbegin(); edge != edges.rend(); ++edge)
            Add("L{:.1f} {:.1f}", edge->x, Y(edge->lowest));
        Add("Z\" fill=\"{}\"/>\n", Colour("ListSelection"));
    }

    void DrawEach()
    {
        std::vector<Edge> edges;
        for (const PlotPoint &point : m_points)
        {
            // A step as wide as the frame; where there is no band it is left out.
            if (!point.hasBand)
            {
                DrawBand(edges);
                edges.clear();
                continue;
            }
            edges.push_back({X(point.frame - 0.5), point.lowest, point.highest});
            edges.push_back({X(point.frame + 0.5), point.lowest, point.highest});
        }
        DrawBand(edges);
        for (const PlotPoint &point : m_points)
            if (point.state == CheckState::Ok)
                DrawDot(point, 3);
    }

    void DrawColumns()
    {
        const std::vector<PlotColumn> columns = PlotColumnsOf(m_points, m_x);
        std::vector<Edge> edges;
        for (std::size_t at = 0; at < columns.size(); ++at)
            if (const PlotColumn &column = columns[at]; column.bands > 0)
                edges.push_back({k_left + double(at) + 0.5, column.lowest / column.bands,
                                 column.highest / column.bands});
        DrawBand(edges);

        Add("<path fill=\"none\" stroke=\"{}\" stroke-width=\"1\" d=\"",
            Colour(ColourNameOf(CheckState::Ok)));
        for (std::size_t at = 0; at < columns.size(); ++at)
            if (const PlotColumn &column = columns[at]; column.count > 0)
            {
                const double top = Y(column.most);
                Add("M{:.1f} {:.1f}V{:.1f}", k_left + double(at) + 0.5, top,
                    std::max(Y(column.least), top + 1));
            }
        m_svg += "\"/>\n";
    }

    void DrawDot(const PlotPoint &point, double radius)
    {
        DrawMark(point.state, X(point.frame), Y(point.size), radius);
        m_svg += '\n';
    }

    void DrawMark(CheckState state, double x, double y, double radius)
    {
        const String &colour = Colour(ColourNameOf(state));
        if (IsOfPicture(state))
            Add("<circle cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"{}\" fill=\"{}\" stroke=\"{}\" "
                "stroke-width=\"2\"/>",
                x, y, radius - 0.5, Colour("ListBG"), colour);
        else
            Add("<circle cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"{}\" fill=\"{}\"/>", x, y, radius, colour);
    }

    void DrawBad()
    {
        // Marks at the same place are one mark.
        std::set<std::pair<long, long>> drawn;
        const double bottom = m_top + m_y.length;
        for (const PlotPoint &point : m_points)
        {
            if (point.state == CheckState::Ok)
                continue;
            const bool isMissing = point.state == CheckState::Missing;
            const double y = isMissing ? bottom : Y(point.size);
            if (!drawn.emplace(std::lround(X(point.frame)), std::lround(y)).second)
                continue;
            if (isMissing)
                Add("<path d=\"M{:.1f} {}v{}\" stroke=\"{}\" stroke-width=\"2\"/>\n",
                    X(point.frame), bottom + 2, k_missing - 4,
                    Colour(ColourNameOf(CheckState::Missing)));
            else
                DrawDot(point, 4);
        }
    }

    void DrawLegend()
    {
        for (const auto &[state, text, x, y] : m_legend)
        {
            if (state == CheckState::Missing)
                Add("<path d=\"M{} {}v10\" stroke=\"{}\" stroke-width=\"2\"/>", x + 5, y - 5,
                    Colour(ColourNameOf(state)));
            else
                DrawMark(state, x + 5, y, 4);
            Add("<text x=\"{}\" y=\"{}\">{}</text>\n", x + 15, y + 4.5, text);
        }
        Add("<rect x=\"{}\" y=\"{}\" width=\"20\" height=\"10\" fill=\"{}\"/>"
            "<text x=\"{}\" y=\"{}\">band of the neighbours</text>\n",
            m_bandX, m_bandY - 5, Colour("ListSelection"), m_bandX + 27, m_bandY + 4.5);
    }

    const CheckTable &m_table;
    const PlotColours &m_colours;
    const std::vector<PlotPoint> m_points;
    std::vector<LegendEntry> m_legend;
    double m_bandX = 0; // Of its place in the legend.
    double m_bandY = 0;
    double m_top = k_top; // Of the field: below the legend.
    PlotAxis m_x;
    PlotAxis m_y;
    std::string m_svg;
};

} // namespace

String PlotSvg(const CheckTable &table, const analysis::ScanRules &rules,
               const PlotColours &colours)
{
    return Plot(table, rules, colours).Draw();
}

} // namespace check
