#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "app/Ordwick.h"
#include "corvan/Messages.h"
#include "tests/support/EnvironmentGuard.h"
#include "tests/support/FakeLink.h"
#include "tests/support/TempFolder.h"
#include "ui/FileList.h"
#include "ui/MainWindow.h"

class wxGUIEventLoop;

/// The real program in this process, with its real window; only the Master is played by the owner
/// of this.
///
/// It ends the program, too. One a process, since the toolkit starts once.
class OrdwickProgram
{
public:
    using ParameterTexts = std::vector<std::pair<std::string, std::string>>;

    /// Settings, log and sockets of the program are in `folder`/home, which outlives this.
    explicit OrdwickProgram(const TempFolder &folder);
    ~OrdwickProgram();
    OrdwickProgram(const OrdwickProgram &) = delete;
    OrdwickProgram &operator=(const OrdwickProgram &) = delete;

    /// Writes the options file that the program will read; before `Start`.
    void WriteOptions(const std::string &text) const;
    std::string ReadOptions() const;

    /// Starts the program as its entry does, and opens its window. `arguments` without the
    /// program's name. False when the program does not start; throws, with the reason, where the
    /// toolkit cannot.
    bool Start(std::vector<std::string> arguments = {s_jobId});

    // What the Master tells; the program acts on it as its event loop runs.

    void Connect();
    void Disconnect();
    /// A job of the test's type with this identifier, named "Shot".
    boost::shared_ptr<corvan::Job> MakeJob(const ParameterTexts &parameters) const;
    void ReceiveJob(const boost::shared_ptr<corvan::Job> &job);
    void ReceiveParameter(const std::string &name, const std::string &value);

    MainWindow &Window() const;
    FileList &List() const;
    FakeLink::Record &Link() const;

    static constexpr const char *s_jobId = "0b0e6a2c-6d0e-4f39-8f0a-5f3c1de0a001";
    /// The type of the jobs that `MakeJob` makes: "Test", without commands of its own.
    static constexpr const char *s_jobTypeId = "3d2f3c58-93e6-4f5e-9d0c-7f1c0a7b5f01";

private:
    std::string OptionsFile() const;

    const TempFolder &m_folder;
    std::unique_ptr<wxGUIEventLoop> m_loop;
    std::vector<std::unique_ptr<EnvironmentGuard>> m_environment;
    std::vector<std::string> m_arguments;
    std::vector<char *> m_argumentTexts;
    bool m_started = false;
};
