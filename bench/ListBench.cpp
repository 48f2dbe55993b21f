// The list in the window: opening it, painting the rows in view, all bad frames, selecting. One
// frame in a hundred is missing.
// Yardsticks: the plainest code that does the same, without a window or in a bare one.
#include <cstdlib>
#include <fstream>
#include <set>

#include <wx/dcclient.h>
#include <wx/frame.h>

#include "bench/Measure.h"
#include "bench/ShownProgram.h"
#include "ostrel/Log.h"
#include "tests/support/WindowTest.h"

using namespace bench;
using namespace ostrel;

namespace
{

constexpr std::size_t k_missing_every = 100;

/// A window that paints rows of three fixed texts, and nothing else.
class BareRows : public wxFrame
{
public:
    BareRows(const wxSize &size, int rows, int rowHeight, const wxString &path)
        : wxFrame(nullptr, wxID_ANY, "Rows", {0, 0}, size), m_rows(rows), m_rowHeight(rowHeight),
          m_path(path)
    {
        SetBackgroundStyle(wxBG_STYLE_PAINT);
        Bind(wxEVT_PAINT, &BareRows::OnPaint, this);
        Show();
        Require(PumpUntil([this] { return m_paints > 0; }), "the bare rows do not show");
        PumpIdle();
    }

    void Paint()
    {
        const int before = m_paints;
        PaintNow(*this);
        Require(m_paints > before, "the bare rows were not painted");
    }

private:
    void OnPaint(wxPaintEvent & /*event*/)
    {
        wxPaintDC dc(this);
        dc.SetBackground(*wxBLACK_BRUSH);
        dc.Clear();
        dc.SetTextForeground(*wxWHITE);
        for (int y = 0; y < m_rows * m_rowHeight; y += m_rowHeight)
        {
            dc.DrawText(m_path, 5, y);
            dc.DrawText("976 KB", 600, y);
            dc.DrawText("2026-11-20 14:03:09", 700, y);
        }
        ++m_paints;
    }

    int m_rows;
    int m_rowHeight;
    wxString m_path;
    int m_paints = 0;
};

Timing MeasureBareRows(ShownProgram &program, const std::string &path, int repetitions)
{
    auto *const bare = new BareRows(program.Window().GetSize(), program.RowsInView(),
                                    program.RowHeight(), wxString::FromUTF8(path));
    const Timing timing = Measure<ThreadTime>(repetitions, [bare] { bare->Paint(); });
    bare->Destroy();
    PumpIdle();
    return timing;
}

Timing MeasurePaint(ShownProgram &program, int row, int repetitions)
{
    program.List().SetFocusRow(row);
    PumpIdle();
    return Measure<ThreadTime>(repetitions, [&program] { program.PaintRows(); });
}

void MeasurePainting(ShownProgram &program, const std::string &pattern, std::size_t size)
{
    constexpr int k_repetitions = 51;
    const std::string rows = std::to_string(program.RowsInView()) + " rows";
    const Timing bare = MeasureBareRows(program, FramePath(pattern, 1), k_repetitions);
    PrintYardstick(rows + " of fixed texts in a bare window", size, bare);
    for (const int offset : {5, 10'000})
    {
        program.UseFrameOffset(offset);
        const std::string at = ", frame offset " + std::to_string(offset);
        PrintRow(rows + " painted at the top" + at, size, MeasurePaint(program, 0, k_repetitions),
                 bare);
        PrintRow(rows + " the same, time that passed" + at, size,
                 Measure(k_repetitions, [&program] { program.PaintRows(); }));
        PrintRow(rows + " painted in the middle" + at, size,
                 MeasurePaint(program, int(size / 2), k_repetitions), bare);
        PrintRow(rows + " painted first after a sort" + at, size,
                 Measure<ThreadTime>(
                     5, [&program] { program.List().Sort(); }, [&program] { program.PaintRows(); }),
                 bare);
    }
}

/// Paths, the container that the list has, and a line a path: what opening cannot do without.
void FillPlainly(analysis::FileTable &table, const std::string &pattern, std::size_t size,
                 std::ostream &log)
{
    table.Clear();
    for (std::size_t frame = 1; frame <= size; ++frame)
    {
        const std::string path = FramePath(pattern, frame);
        table.Append(Path(path), int(frame));
        log << path << '\n';
    }
    log.flush();
}

void MeasureOpening(ShownProgram &program, const Folder &folder, const std::string &pattern,
                    std::size_t size)
{
    const int repetitions = size >= 1'000'000 ? 3 : 11;
    analysis::_FileInfoList files;
    analysis::FileTable table(files);
    const auto fillPlainly = [&]
    {
        std::ofstream log(folder / "plain.log");
        FillPlainly(table, pattern, size, log);
    };
    const auto open = [&]
    {
        program.Window().RefillList();
        program.PaintRows();
        LogFlush();
    };
    const Timing plain = Measure<ThreadTime>(repetitions, fillPlainly);
    PrintYardstick("paths into the same table, a line each into a file", size, plain);
    PrintRow("opening: list filled and painted, its log lines on disk", size,
             Measure<ThreadTime>(repetitions, open), plain);
    program.FinishPass();
}

void MeasureBad(ShownProgram &program, std::size_t size)
{
    for (const int offset : {5, 10'000})
    {
        program.UseFrameOffset(offset);
        std::size_t bad = 0;
        const auto find = [&] { bad = program.List().FindBadFrames().size(); };
        const auto waitForLog = [] { LogFlush(); };
        PrintRow("all bad frames, frame offset " + std::to_string(offset), size,
                 Measure<ThreadTime>(Repetitions(size), waitForLog, find));
        Require(bad == size / k_missing_every, "other frames are bad than those missing");
    }
}

void MeasureSelecting(ShownProgram &program, std::size_t size)
{
    FileList &list = program.List();
    const int repetitions = size >= 1'000'000 ? 3 : 11;
    std::vector<Path> paths;
    for (std::size_t row = 0; row < size; ++row)
        paths.emplace_back(list.GetDisplayText(int(row), 0));

    std::set<Path> all;
    const Timing plain = Measure<ThreadTime>(
        repetitions, [&] { all.clear(); },
        [&] {
            all = {paths.begin(), paths.end()};
        });
    PrintYardstick("a set of all paths", size, plain);

    const auto selectAll = [&]
    {
        list.SelectAll();
        program.PaintRows();
    };
    const auto selectBad = [&]
    {
        list.SelectBad();
        program.PaintRows();
    };
    PrintRow("all rows selected (Ctrl+A), and painted", size,
             Measure<ThreadTime>(repetitions, selectBad, selectAll), plain);
    Require(list.SelectedPaths().size() == size, "not all rows were selected");
    PrintRow("one row instead of all (a click), and painted", size,
             Measure<ThreadTime>(repetitions, selectAll,
                                 [&]
                                 {
                                     program.PressKey(WXK_HOME);
                                     program.PaintRows();
                                 }),
             plain);
    Require(list.SelectedPaths().size() == 1, "not one row was selected");
    PrintRow("the bad rows instead of all, and painted", size,
             Measure<ThreadTime>(repetitions, selectAll, selectBad), plain);
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<std::size_t> sizes = ChosenSizes(argc, argv);
    const Folder folder;
    const std::string pattern = folder / "beauty.%07d.exr";
    MakeFrames(pattern, sizes.back(), k_missing_every);
    ShownProgram program;
    PrintHead("The list in the window, processor time of its thread");
    for (const std::size_t size : sizes)
    {
        program.ShowFrames(pattern, size);
        MeasurePainting(program, pattern, size);
        MeasureBad(program, size);
        MeasureSelecting(program, size);
        MeasureOpening(program, folder, pattern, size);
    }
}
