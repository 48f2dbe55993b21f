#include "wxcorvan/wxCorvanApp.h"

#include <clocale>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>
#include <wx/frame.h>

#include "corvan/Messages.h"
#include "ostrel/Exception.h"
#include "tests/support/EnvironmentGuard.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TempFolder.h"
#include "tests/support/WindowTest.h"
#include "tests/wxcorvan/TestApp.h"

namespace
{

/// The sample program as a process, with options of its own.
class Sample
{
public:
    explicit Sample(std::vector<std::string> arguments)
    {
        const EnvironmentGuard config("XDG_CONFIG_HOME", m_folder.Folder().Text().c_str());
        arguments.insert(arguments.begin(), SAMPLE_PROGRAM);
        std::vector<char *> list;
        for (std::string &argument : arguments)
            list.push_back(argument.data());
        list.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        Redirect(actions, STDOUT_FILENO, m_out);
        Redirect(actions, STDERR_FILENO, m_err);
        EXPECT_EQ(posix_spawn(&m_process, list[0], &actions, nullptr, list.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
    }
    ~Sample()
    {
        if (m_process != 0)
        {
            kill(m_process, SIGKILL);
            waitpid(m_process, nullptr, 0);
        }
    }
    Sample(const Sample &) = delete;
    Sample &operator=(const Sample &) = delete;

    /// Its exit status; -1 when it did not end, or not by itself.
    int Status()
    {
        int status = 0;
        const bool hasEnded =
            PumpUntil([&] { return waitpid(m_process, &status, WNOHANG) == m_process; }, 30'000);
        EXPECT_TRUE(hasEnded) << "the program does not end";
        if (!hasEnded)
            return -1;
        m_process = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    bool WaitFor(const char *text)
    {
        return PumpUntil([&] { return Out().find(text) != std::string::npos; }, 30'000);
    }
    void Signal(int number) const
    {
        kill(m_process, number);
    }
    std::string Out() const
    {
        return ContentOf(m_out);
    }
    std::string Err() const
    {
        return ContentOf(m_err);
    }
    std::string Options() const
    {
        const ostrel::Path file = m_folder / "Sample/Sample.ini";
        return std::filesystem::exists(file.Text().c_str()) ? ContentOf(file) : "(none)";
    }

private:
    static void Redirect(posix_spawn_file_actions_t &actions, int descriptor,
                         const ostrel::Path &file)
    {
        posix_spawn_file_actions_addopen(&actions, descriptor, file.Text().c_str(),
                                         O_WRONLY | O_CREAT | O_APPEND, 0600);
    }

    TempFolder m_folder;
    ostrel::Path m_out = m_folder.MakeFile("out");
    ostrel::Path m_err = m_folder.MakeFile("err");
    pid_t m_process = 0;
};

bool Holds(const std::string &text, const char *part)
{
    return text.find(part) != std::string::npos;
}

} // namespace

TEST(wxCorvanApp, AnswersHelpAndVersionWithoutADisplay)
{
    const EnvironmentGuard display("DISPLAY", nullptr);
    Sample help({"whatever", "--help"});
    EXPECT_EQ(help.Status(), 0);
    EXPECT_TRUE(help.Out().starts_with("Usage: sample [OPTION]... WHAT\n")) << help.Out();
    for (const char *option : {"--master", "--options", "--log-file", "--log-level", "--colour"})
        EXPECT_TRUE(Holds(help.Out(), option)) << option;
    EXPECT_EQ(help.Err(), "");

    Sample version({"--version"});
    EXPECT_EQ(version.Status(), 0);
    EXPECT_EQ(version.Out(), std::string("Sample ") + corvan::CorvanApp::Version() + '\n');
}

TEST(wxCorvanApp, RefusesAWrongOption)
{
    const struct
    {
        std::vector<std::string> arguments;
        const char *text;
    } cases[] = {
        {{"--no-such-option"}, "no-such-option"},
        {{"run", "--master"}, "master"},
    };

    for (const auto &[arguments, text] : cases)
    {
        Sample sample(arguments);
        EXPECT_EQ(sample.Status(), 2) << text;
        EXPECT_TRUE(Holds(sample.Err(), text)) << sample.Err();
        EXPECT_EQ(sample.Out(), "");
    }
}

TEST(wxCorvanApp, CleansUpWhereStartupSaysNo)
{
    Sample sample({"refuse"});
    EXPECT_GT(sample.Status(), 0);
    EXPECT_EQ(sample.Out(), "cleaned up\n");
}

TEST(wxCorvanApp, EndsWhereItsWindowCannotBeMade)
{
    Sample sample({"no-window"});
    EXPECT_EQ(sample.Status(), 1);
    EXPECT_EQ(sample.Out(), "cleaned up\n");
    EXPECT_TRUE(Holds(sample.Err(), "the window cannot be made"));
}

TEST(wxCorvanApp, LivesOnAfterAHandlerThatFailed)
{
    Sample sample({"fail"});
    EXPECT_EQ(sample.Status(), 0);
    EXPECT_EQ(sample.Out(), "closed\ncleaned up\n");
    for (const char *text : {"no disk", "no luck", "toolkit assertion", "no sense", "no way"})
        EXPECT_TRUE(Holds(sample.Err(), text)) << text << " in " << sample.Err();
}

TEST(wxCorvanApp, SavesItsSettingsWhenASignalEndsIt)
{
    for (const int number : {SIGTERM, SIGINT})
    {
        Sample sample({"run", "--colour=red"});
        ASSERT_TRUE(sample.WaitFor("up\n")) << sample.Err();
        sample.Signal(number);
        EXPECT_EQ(sample.Status(), 0);
        EXPECT_EQ(sample.Out(), "up\nclosed\ncleaned up\n");
        EXPECT_TRUE(Holds(sample.Options(), "[Window]")) << sample.Options();
    }
}

TEST(wxCorvanApp, CancelsItsDialogsWhenASignalEndsIt)
{
    const struct
    {
        const char *what;
        const char *out;
    } cases[] = {
        {"dialog", "up\ncancelled\nclosed\ncleaned up\n"},
        {"box", "up\ncancelled\nclosed\ncleaned up\n"},
        {"files", "up\ncancelled\ncancelled too\nclosed\ncleaned up\n"},
    };

    for (const auto &[what, out] : cases)
    {
        Sample sample({what});
        ASSERT_TRUE(sample.WaitFor("up\n")) << sample.Err();
        sample.Signal(SIGTERM);
        EXPECT_EQ(sample.Status(), 0) << what << ": " << sample.Err();
        EXPECT_EQ(sample.Out(), out) << what;
    }
}

TEST(wxCorvanApp, DispatchesMessagesOnTheMainThread)
{
    const std::thread::id mainThread = std::this_thread::get_id();
    int count = 0;
    const auto connection = corvan::JobParameterMsg::s_Signal.ConnectFunction(
        [&](const boost::shared_ptr<corvan::JobParameterMsg> &)
        {
            EXPECT_EQ(std::this_thread::get_id(), mainThread);
            ++count;
        });
    std::thread(
        [&]
        {
            for (int i = 0; i < 1000; ++i)
                TestApp::Get().link.callbacks.received(
                    boost::make_shared<corvan::JobParameterMsg>());
        })
        .join();
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(PumpUntil([&] { return count == 1000; }));
}

TEST(wxCorvanApp, LivesOnAfterAReceiverThatFailed)
{
    LogCapture log;
    int count = 0;
    const auto connection = corvan::JobParameterMsg::s_Signal.ConnectFunction(
        [&](const boost::shared_ptr<corvan::JobParameterMsg> &)
        {
            if (++count == 1)
                throw std::runtime_error("the receiver fails");
            if (count == 2)
                throw new ostrel::Exception("the receiver fails again");
        });
    for (int i = 0; i < 3; ++i)
    {
        TestApp::Get().link.callbacks.received(boost::make_shared<corvan::JobParameterMsg>());
        PumpIdle();
    }
    EXPECT_TRUE(PumpUntil([&] { return count == 3; }));
    EXPECT_EQ(log.Count(ostrel::k_LogError, "the receiver fails"), 2);
}

TEST(wxCorvanApp, IdleWorkGoesOnForAsLongAsItAsks)
{
    int left = 5000;
    auto *const frame = new wxFrame(nullptr, wxID_ANY, "idle");
    frame->Bind(wxEVT_IDLE,
                [&](wxIdleEvent &event)
                {
                    if (left > 0 && --left > 0)
                        event.RequestMore();
                });
    frame->Show();
    wxWakeUpIdle();
    EXPECT_TRUE(PumpUntil([&] { return left == 0; }));
    frame->Destroy();
    PumpIdle();
}

TEST(wxCorvanApp, WritesNumbersWithAPointInEveryLanguage)
{
    EXPECT_EQ(wxString::Format("%g", 0.5), "0.5");
    EXPECT_STREQ(std::setlocale(LC_NUMERIC, nullptr), "C");
}
