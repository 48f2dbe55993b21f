#pragma once

#include <functional>
#include <string>

#include "tests/support/OrdwickProgram.h"

namespace bench
{

/// The program with its real window on the display, and a job that is played. One a process.
class ShownProgram
{
public:
    /// Starts it, and gives the window most of the screen. No pass follows another by itself.
    ShownProgram();
    ~ShownProgram();

    /// Tells of a job that is expected to have written the frames 1 to `frames`; returns when the
    /// list is filled and the first pass has ended.
    void ShowFrames(const std::string &pattern, std::size_t frames);

    /// One pass over all files, with the event loop as the program runs it.
    void RunPass();

    /// Runs the pass that has begun to its end.
    void FinishPass();

    /// Judges by this frame offset from now on; runs a pass, as the program does.
    void UseFrameOffset(int offset);

    /// Shows or hides the gauge, as the setting does.
    void ShowProgress(bool isShown);

    /// Paints all rows in view, now; returns when the display has them.
    void PaintRows();
    int RowsInView();
    int RowHeight(); ///< Pixels.

    /// Has the list handle a key, as when it is pressed there.
    void PressKey(int key);

    MainWindow &Window()
    {
        return m_program.Window();
    }
    FileList &List()
    {
        return m_program.List();
    }

private:
    void RunUntilScanned(const std::function<void()> &start);

    TempFolder m_folder;
    OrdwickProgram m_program;
    int m_paints = 0;
};

/// Paints a window, now; returns when the display has it.
void PaintNow(wxWindow &window);

/// Makes the frames 1 to `frames` of a pattern, each 1,000 bytes long (and no block on disk). One
/// in `missingEvery` is left out; 0 for none.
void MakeFrames(const std::string &pattern, std::size_t frames, std::size_t missingEvery = 0);

/// The path of a frame.
std::string FramePath(const std::string &pattern, std::size_t frame);

/// Ends the bench with this text on standard error unless `holds`.
void Require(bool holds, const char *what);

} // namespace bench
