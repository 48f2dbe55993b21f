#pragma once

#include <cstdio>

#include "cli/JobTexts.h"

namespace cli
{

/// "[########------------]  24/60": how far a job is, in a line of fixed width. Empty brackets
/// while nothing is counted.
String BarText(const TaskCounts &counts);

/// Shows how far a job is: on a terminal one line that is written over, elsewhere the counts alone,
/// a line of their own each time another tenth is done.
class ProgressBar
{
public:
    /// `stream` must outlive the bar.
    ProgressBar(std::FILE *stream, bool isTerminal);

    void Show(const TaskCounts &counts);
    /// Ends the line, so that others can write.
    void End();
    /// Takes the line away, on a terminal.
    void Clear();

private:
    std::FILE *m_stream;
    bool m_isTerminal;
    bool m_isLineOpen = false;
    unsigned m_tenths = 0;
    String m_shown;
};

} // namespace cli
