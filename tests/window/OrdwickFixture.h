#pragma once

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"
#include "tests/support/OrdwickProgram.h"
#include "tests/support/TempFolder.h"
#include "tests/support/WindowTest.h"

/// The real program in this process, with its real window; only the Master is played by the test.
///
/// One program a process: ctest runs each case in a process of its own.
class OrdwickFixture : public ::testing::Test
{
protected:
    OrdwickFixture();

    /// Writes the options file that the program will read; before `Start`.
    void WriteOptions(const std::string &text);
    std::string ReadOptions() const;

    /// Starts the program as its entry does, and shows the window. `arguments` without the
    /// program's name; by default the identifier of the test's job. Throws, which ends the test,
    /// when it does not start.
    void Start(std::vector<std::string> arguments = {s_jobId});
    /// The same for a program that may end before it has a window: false then.
    bool TryStart(std::vector<std::string> arguments);

    /// Connects, and answers the request with a job of these parameters.
    void ConnectWithJob(const OrdwickProgram::ParameterTexts &parameters);
    /// A job of the test's type: name "Shot", range 1-5, pattern `Pattern()`, then `parameters`.
    boost::shared_ptr<corvan::Job> MakeJob(const OrdwickProgram::ParameterTexts &parameters) const;
    void ReceiveJob(const boost::shared_ptr<corvan::Job> &job);
    void ReceiveParameter(const std::string &name, const std::string &value);
    void Connect();
    void Disconnect();

    /// Runs the event loop until the condition holds; a failure of the test after `seconds`.
    void WaitFor(const std::function<bool()> &condition, int seconds = 20);
    /// Runs the event loop until the pass that runs has ended.
    void PumpPass();

    /// A real click at a row that is in view; `modifiers` as for `ClickAt`.
    void ClickRow(int row, const std::string &modifiers = {});

    MainWindow &Window() const;
    FileList &List() const;
    FakeLink::Record &Link() const;
    wxcorvan::wxcChoice &FormatChoice() const;
    /// "5 Files | 0 Missing | 0 Too Small"
    std::string StatusTexts() const;
    std::string RowColor(int row) const; ///< "normal", "grey", "red", "orange".

    /// "<temp>/frames/f.%04d.exr"
    std::string Pattern() const;
    std::string FramePath(int frame) const;
    void MakeFrame(int frame, std::size_t bytes) const;
    void MakeFrames(int first, int last, std::size_t bytes) const;

    static constexpr const char *s_jobId = OrdwickProgram::s_jobId;

    TempFolder m_folder;
    LogCapture m_log;

private:
    OrdwickProgram m_program;
};
