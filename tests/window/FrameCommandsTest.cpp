// The commands that act on frames: select, requeue, delete, with real keys and the menu.

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <numeric>

#include <wx/timer.h>

#include "app/Ordwick.h"
#include "corvan/JobFactory.h"
#include "corvan/JobStatus.h"
#include "tests/support/Printing.h"
#include "tests/window/CommandFixture.h"
#include "tests/window/FakeUnlink.h"
#include "ui/CommandIds.h"

using namespace corvan;
using namespace ostrel;
namespace fs = std::filesystem;

namespace
{

using Items = SequenceDistributor::Items;

/// How long the event loop was not come back to, at most.
class LongestStretch : private wxTimer
{
public:
    using Clock = std::chrono::steady_clock;

    LongestStretch()
    {
        Start(1);
    }
    double Seconds() const
    {
        return std::chrono::duration<double>(m_longest).count();
    }

private:
    void Notify() override
    {
        const Clock::time_point now = Clock::now();
        m_longest = std::max(m_longest, now - m_last);
        m_last = now;
    }

    Clock::time_point m_last = Clock::now();
    Clock::duration m_longest{};
};

} // namespace

class FrameCommandsTest : public CommandFixture
{
protected:
    /// The jobs that were sent, in order.
    std::vector<boost::shared_ptr<Job>> Requeued() const
    {
        std::vector<boost::shared_ptr<Job>> jobs;
        for (const auto &message : Sent<JobMsg>())
            jobs.push_back(message->job);
        return jobs;
    }
    bool HasFrame(int frame) const
    {
        return fs::exists(FramePath(frame));
    }
    std::string DeleteLines(const std::vector<int> &frames) const
    {
        std::string lines;
        for (const int frame : frames)
            lines += "5   Delete: " + FramePath(frame) + '\n';
        return lines;
    }
    /// Frames 1 to 9, of which 2 is too small, 5 an outlier and 7 missing.
    void WatchDamage()
    {
        MakeFrames(1, 9, 9000);
        MakeFrame(2, 10);
        MakeFrame(5, 6000);
        fs::remove(FramePath(7));
        Watch("1-9");
    }
};

TEST_F(FrameCommandsTest, CtrlSSelectsTheBadFramesAndNoOthers)
{
    WatchDamage();
    SelectRows({0, 1, 8});
    PressKeys("ctrl+s");
    EXPECT_EQ(List().SelectedPaths(), (std::set<Path>{FramePath(2), FramePath(5), FramePath(7)}));
    EXPECT_EQ(CommandLog(), "");
    EXPECT_EQ(SentSinceJob(), 0u);
}

TEST_F(FrameCommandsTest, CtrlRWithNothingSelectedSaysSoAndSendsNothing)
{
    WatchDamage();
    FocusList();
    PressKeys("ctrl+r");
    EXPECT_EQ(CommandLog(), "4 Requeue selected frames...\n5    Nothing selected\n");
    EXPECT_EQ(SentSinceJob(), 0u);
}

TEST_F(FrameCommandsTest, CtrlBWithNoBadFrameIsSilentAndSendsNothing)
{
    MakeFrames(1, 9, 9000);
    Watch("1-9");
    FocusList();
    PressKeys("ctrl+b");
    EXPECT_EQ(CommandLog(), "4 Requeue bad frames...\n");
    EXPECT_EQ(SentSinceJob(), 0u);
}

TEST_F(FrameCommandsTest, CtrlRSendsOneNewJobOfTheSelectedFrames)
{
    MakeFrames(1, 9, 9000);
    Watch("1-9", {{p_Status, "2"}, {p_Priority, "70"}, {"Scene", "/s/a;b.pov"}});
    SelectRows({0, 1, 2, 6});
    PressKeys("ctrl+r");

    EXPECT_EQ(CommandLog(), "4 Requeue selected frames...\n5  + Requeue range: 1-3,7\n");
    EXPECT_EQ(SentSinceJob(), 1u);
    ASSERT_EQ(Requeued().size(), 1u);
    const Job &job = *Requeued().front();
    EXPECT_EQ(job.ParameterText(p_Range, false), "1-3,7");
    EXPECT_EQ(job.ParameterText(p_Status, false), "0");
    EXPECT_EQ(job.ParameterText(p_Priority, false), "70");
    EXPECT_EQ(job.ParameterText("Scene", false), "/s/a;b.pov");
    EXPECT_EQ(job.ParameterText(p_ImageFormat, false), Pattern());
    EXPECT_EQ(job.Name(), "Shot");
    EXPECT_EQ(job.Type().id, UID(OrdwickProgram::s_jobTypeId, true));
    EXPECT_FALSE(job.ID().IsNil());
    EXPECT_NE(job.ID(), UID(s_jobId, true));

    const Job &watched = *wxGetApp().CurrentJob();
    EXPECT_EQ(watched.ID(), UID(s_jobId, true));
    EXPECT_EQ(watched.ParameterText(p_Range, false), "1-9");
    EXPECT_EQ(watched.ParameterText(p_Status, false), "2");
    EXPECT_EQ(List().RowCount(), 9);
    EXPECT_EQ(List().SelectedPaths().size(), 4u);
}

TEST_F(FrameCommandsTest, CtrlBSendsTheBadFrames)
{
    WatchDamage();
    SelectRows({0});
    PressKeys("ctrl+b");
    EXPECT_EQ(CommandLog(), "4 Requeue bad frames...\n5  + Requeue range: 2,5,7\n");
    ASSERT_EQ(Requeued().size(), 1u);
    EXPECT_EQ(Requeued().front()->ParameterText(p_Range, false), "2,5,7");
}

TEST_F(FrameCommandsTest, ARequeueOfAllRowsIsOfTheFramesThatHaveFiles)
{
    Watch("1-6", {{p_SequenceBy, "2"}});
    ASSERT_EQ(List().RowCount(), 6);
    ClickRow(0);
    PressKeys("End ctrl+a ctrl+r");
    ASSERT_EQ(Requeued().size(), 1u);
    EXPECT_EQ(Requeued().front()->ParameterText(p_Range, false), "1-3");
    EXPECT_EQ(Window().CurrentSelection(), FramePath(1)) << "a job command's note";
}

TEST_F(FrameCommandsTest, TwoRequeuesAreTwoJobs)
{
    WatchDamage();
    FocusList();
    PressKeys("ctrl+b");
    PressKeys("ctrl+b");
    ASSERT_EQ(Requeued().size(), 2u);
    EXPECT_NE(Requeued()[0]->ID(), Requeued()[1]->ID());
    EXPECT_NE(Requeued()[0]->ID(), UID(s_jobId, true));
    EXPECT_NE(Requeued()[1]->ID(), UID(s_jobId, true));
}

TEST_F(FrameCommandsTest, ARequeueOfARenumberedJobIsSentAndWarnedOf)
{
    const struct
    {
        const char *renumberStart;
        const char *requeued;
        bool isWarnedOf;
    } cases[] = {{"", "10-12", false}, {"1", "1-3", true}};

    Start();
    Connect();
    for (const auto &[renumberStart, requeued, isWarnedOf] : cases)
    {
        ReceiveJob(MakeJob({{p_Range, "10-12"}, {p_RenumberStart, renumberStart}}));
        Window().RefillList();
        PumpPass();
        m_log.Clear();
        FocusList();
        PressKeys("ctrl+b");
        ASSERT_FALSE(Requeued().empty());
        EXPECT_EQ(Requeued().back()->ParameterText(p_Range, false), requeued);
        EXPECT_EQ(m_log.Count(k_LogWarning, "Requeue: the job renumbers"), int(isWarnedOf));
        EXPECT_EQ(Window().Notice().Contains("renumbers its frames"), isWarnedOf);
    }
    Screenshot(Window(), "requeue-renumbered");
}

TEST_F(FrameCommandsTest, ARequeueOfScatteredFramesTellsWhatItsPacketsRenderAgain)
{
    // 4 is bad, too, and nobody asks for it.
    MakeFrames(1, 9, 9000);
    for (const int frame : {2, 4, 6, 9})
        MakeFrame(frame, 10);
    Watch("1-9", {{p_PacketSize, "5"}});
    SelectRows({1, 5, 8});
    PressKeys("ctrl+r");
    EXPECT_EQ(CommandLog(),
              "4 Requeue selected frames...\n5  + Requeue range: 2,6,9\n"
              "3 Requeue: packets are rendered whole, good frames that are rendered again: 2\n");
    ASSERT_EQ(Requeued().size(), 1u);
    EXPECT_EQ(Requeued().front()->ParameterText(p_Range, false), "2,6,9");
    EXPECT_EQ(Requeued().front()->ParameterText(p_PacketSize, false), "5");
    EXPECT_EQ(Window().Notice(), "The packets of this job are rendered whole. Good frames that the "
                                 "new job renders again: 2. \"corvan requeue --exact\" leaves "
                                 "them alone.");
    Screenshot(Window(), "requeue-packets");

    SelectRows({1});
    PressKeys("ctrl+r");
    EXPECT_EQ(Window().Notice(), "") << "it was of the requeue before";
}

TEST_F(FrameCommandsTest, ARequeueThatRendersNoGoodFrameTellsNothing)
{
    const struct
    {
        const char *packetSize;
        std::vector<int> selected;
    } cases[] = {
        {"10", {2, 3, 4}}, {"3", {1, 4, 7}}, {"1", {1, 5}}, {"10", {1}}, {"10", {3, 5}},
    };
    MakeFrames(1, 9, 9000);
    MakeFrame(4, 10);
    Watch("1-9");
    for (const auto &[packetSize, selected] : cases)
    {
        ReceiveParameter(p_PacketSize, packetSize);
        std::vector<int> rows;
        for (const int frame : selected)
            rows.push_back(frame - 1);
        SelectRows(rows);
        PressKeys("ctrl+r");
        EXPECT_EQ(Window().Notice(), "") << packetSize << ", from " << selected.front();
    }
    EXPECT_EQ(Requeued().size(), std::size(cases));
}

TEST_F(FrameCommandsTest, TheMenuRequeuesAsTheKeysDo)
{
    WatchDamage();
    ChooseFromMenu(k_IdSelectBad);
    EXPECT_EQ(List().SelectedPaths().size(), 3u);
    ChooseFromMenu(k_IdRequeueSelected);
    ChooseFromMenu(k_IdRequeueBad);
    ASSERT_EQ(Requeued().size(), 2u);
    EXPECT_EQ(Requeued()[0]->ParameterText(p_Range, false), "2,5,7");
    EXPECT_EQ(Requeued()[1]->ParameterText(p_Range, false), "2,5,7");
}

TEST_F(FrameCommandsTest, ARangeThatTheNewJobRefusesIsDroppedInSilence)
{
    Watch("1-5");
    // It has as many parameters as a job may have, and no range: what is looked for is its custom
    // range.
    const auto full = JobFactory::s_JobFactory.CreateJob(UID(OrdwickProgram::s_jobTypeId, true));
    full->SetID(UID(s_jobId, true));
    full->SetParameter(p_Status, "0");
    full->SetParameter(p_ImageFormat, Pattern());
    full->SetParameter(p_CustomRange, "1-3");
    for (int i = 0; full->CheckParameter("Extra" + std::to_string(i), "x").empty(); ++i)
        full->SetParameter("Extra" + std::to_string(i), "x");
    ReceiveJob(full);
    WaitFor([this] { return StatusTexts() == "3 Files | 3 Missing | 0 Too Small"; });
    PumpIdle();
    m_log.Clear();
    FocusList();
    PressKeys("ctrl+b");
    EXPECT_EQ(CommandLog(), "4 Requeue bad frames...\n5  + Requeue range: 1-3\n");
    EXPECT_EQ(SentSinceJob(), 0u);
}

TEST_F(FrameCommandsTest, WithoutAJobARequeueWarnsOnceAndSendsNothing)
{
    WatchDamage();
    SelectRows({0, 1});
    Disconnect();
    ASSERT_EQ(wxGetApp().CurrentJob(), nullptr);
    m_log.Clear();
    PressKeys("ctrl+r");
    EXPECT_EQ(CommandLog(), "4 Requeue selected frames...\n5  + Requeue range: 1,2\n"
                            "3 Requeue: there is no job yet, nothing was done\n");
    m_log.Clear();
    PressKeys("ctrl+b");
    EXPECT_EQ(CommandLog(), "4 Requeue bad frames...\n5  + Requeue range: 2,5,7\n"
                            "3 Requeue: there is no job yet, nothing was done\n");
    EXPECT_EQ(SentSinceJob(), 0u);
}

TEST_F(FrameCommandsTest, BeforeAnyJobEveryCommandIsCalm)
{
    Start();
    Connect();
    const auto sent = Link().sent.size();
    m_log.Clear();
    for (const int id :
         {k_IdSelectBad, k_IdRequeueSelected, k_IdRequeueBad, k_IdDeleteSelected, k_IdDeleteBad})
        ChooseFromMenu(id);
    EXPECT_EQ(CommandLog(), "4 Requeue selected frames...\n5    Nothing selected\n"
                            "4 Requeue bad frames...\n4 Delete selected frames...\n"
                            "4 Delete bad frames...\n");
    EXPECT_EQ(Link().sent.size(), sent);
}

TEST_F(FrameCommandsTest, FiftyThousandScatteredFramesAreRequeuedWhole)
{
    Items frames;
    for (int i = 0; i < 50'000; ++i)
        frames.insert(4 * i + i % 3 + i / 7 % 2);
    const String range = SequenceDistributor::CalculateRange(frames);
    ASSERT_GT(range.size(), 100'000u);
    Start();
    ConnectWithJob({{p_Range, range}, {p_ImageFormat, "/none/f.%d"}});
    WaitFor([this] { return List().RowCount() == 50'000; }, 30);
    m_log.Clear();
    // All are missing.
    PressKeys("ctrl+b");
    WaitFor([this] { return !Requeued().empty(); }, 30);
    ASSERT_EQ(Requeued().size(), 1u);
    const String sent = Requeued().front()->ParameterText(p_Range, false);
    EXPECT_TRUE(sent == range);
    Items again;
    SequenceDistributor::CalculateItems(sent, again);
    EXPECT_TRUE(again == frames);
    EXPECT_EQ(m_log.Count(k_LogInfo, " + Requeue range: " + range), 1);
}

TEST_F(FrameCommandsTest, DeletesTheSelectedFilesInPathOrder)
{
    MakeFrames(1, 5, 9000);
    Watch("1-5");
    SelectRows({3, 1});
    ChooseFromMenu(k_IdDeleteSelected);
    EXPECT_EQ(CommandLog(), "4 Delete selected frames...\n" + DeleteLines({2, 4}));
    for (const int frame : {1, 2, 3, 4, 5})
        EXPECT_EQ(HasFrame(frame), frame != 2 && frame != 4) << frame;
    EXPECT_EQ(SentSinceJob(), 0u);
}

TEST_F(FrameCommandsTest, DeletesTheBadFilesAndGoesOverTheMissingOne)
{
    WatchDamage();
    SelectRows({0});
    ChooseFromMenu(k_IdDeleteBad);
    EXPECT_EQ(CommandLog(), "4 Delete bad frames...\n" + DeleteLines({2, 5, 7}));
    for (const int frame : {1, 3, 4, 6, 8, 9})
        EXPECT_TRUE(HasFrame(frame)) << frame;
    EXPECT_FALSE(HasFrame(2));
    EXPECT_FALSE(HasFrame(5));
}

TEST_F(FrameCommandsTest, WithNothingToDeleteOnlyTheFirstLineIsLogged)
{
    MakeFrames(1, 5, 9000);
    Watch("1-5");
    ChooseFromMenu(k_IdDeleteSelected);
    ChooseFromMenu(k_IdDeleteBad);
    EXPECT_EQ(CommandLog(), "4 Delete selected frames...\n4 Delete bad frames...\n");
    for (const int frame : {1, 2, 3, 4, 5})
        EXPECT_TRUE(HasFrame(frame)) << frame;
}

TEST_F(FrameCommandsTest, AFileThatIsGoneIsDeletedWithoutComplaintAndMissingAtTheNextPass)
{
    MakeFrames(1, 5, 9000);
    Watch("1-5");
    fs::remove(FramePath(2));
    SelectRows({1});
    ChooseFromMenu(k_IdDeleteSelected);
    EXPECT_EQ(CommandLog(), "4 Delete selected frames...\n" + DeleteLines({2}));
    EXPECT_EQ(List().RowCount(), 5);
    EXPECT_EQ(RowColor(1), "normal");

    Window().CheckFiles(false);
    PumpPass();
    EXPECT_EQ(List().RowCount(), 5);
    EXPECT_EQ(RowColor(1), "grey");
    EXPECT_EQ(StatusTexts(), "5 Files | 1 Missing | 0 Too Small");
}

TEST_F(FrameCommandsTest, DeletingDoesNotScanAgain)
{
    MakeFrames(1, 5, 9000);
    Watch("1-5");
    SelectRows({1, 2});
    ChooseFromMenu(k_IdDeleteSelected);
    PumpIdle();
    EXPECT_FALSE(HasFrame(2));
    EXPECT_EQ(List().GetDisplayText(1, 1), "8 KB");
    EXPECT_EQ(RowColor(1), "normal");
    EXPECT_EQ(StatusTexts(), "5 Files | 0 Missing | 0 Too Small");
    EXPECT_EQ(m_log.Count(k_LogStatus, "Finished scanning"), 0);
}

TEST_F(FrameCommandsTest, WhatCannotBeDeletedIsPassedOverInSilence)
{
    MakeFrames(1, 7, 9000);
    // Read-only; a folder with something in it; an empty folder; a link to a folder; gone.
    fs::permissions(FramePath(1), fs::perms::owner_read);
    fs::remove(FramePath(2));
    m_folder.MakeFile("frames/f.0002.exr/inside", "kept");
    fs::remove(FramePath(3));
    fs::create_directory(FramePath(3));
    fs::remove(FramePath(4));
    m_folder.MakeFile("elsewhere/inside", "kept");
    fs::create_directory_symlink(m_folder.Folder().Text() + "/elsewhere", FramePath(4));
    fs::remove(FramePath(5));
    Watch("1-7");
    FocusList();
    PressKeys("ctrl+a");
    ChooseFromMenu(k_IdDeleteSelected);
    EXPECT_EQ(CommandLog(), "4 Delete selected frames...\n" + DeleteLines({1, 2, 3, 4, 5, 6, 7}));
    EXPECT_TRUE(fs::is_regular_file(FramePath(2) + "/inside"));
    EXPECT_TRUE(fs::is_directory(FramePath(3)));
    EXPECT_TRUE(fs::is_regular_file((m_folder / "elsewhere/inside").Text().c_str()));
    EXPECT_FALSE(HasFrame(6));
    EXPECT_FALSE(HasFrame(7));
}

TEST_F(FrameCommandsTest, FilesThatTheSystemKeepsArePassedOverInSilence)
{
    MakeFrames(1, 6, 9000);
    Watch("1-6");
    FocusList();
    PressKeys("ctrl+a");
    {
        // Of the whole folder, or of one file: read-only, on a server that is gone, in use.
        FakeUnlink fake;
        fake.errors = {{FramePath(1), EACCES},
                       {FramePath(3), EIO},
                       {FramePath(4), EBUSY},
                       {FramePath(6), EROFS}};
        ChooseFromMenu(k_IdDeleteSelected);
        EXPECT_EQ(fake.calls, 6);
    }
    EXPECT_EQ(CommandLog(), "4 Delete selected frames...\n" + DeleteLines({1, 2, 3, 4, 5, 6}));
    for (const int frame : {1, 2, 3, 4, 5, 6})
        EXPECT_EQ(HasFrame(frame), frame != 2 && frame != 5) << frame;
    EXPECT_EQ(List().SelectedPaths().size(), 6u);
    EXPECT_EQ(Window().Notice(), "");
}

TEST_F(FrameCommandsTest, TenThousandDeletionsLeaveTheWindowAliveAndAreAllLogged)
{
    MakeFrames(1, 10'000, 1);
    Start();
    ConnectWithJob({{p_Range, "1-10000"}});
    WaitFor([this] { return List().RowCount() == 10'000; }, 30);
    // Those that were looked at are too small, the others are missing so far: the pass goes on, and
    // keys would wait for it.
    FakeUnlink fake;
    fake.wait = std::chrono::microseconds(500);
    const auto begin = LongestStretch::Clock::now();
    double stretch = 0;
    wxCommandEvent command(wxEVT_MENU, k_IdDeleteBad);
    WhileModal([&] { Window().GetEventHandler()->ProcessEvent(command); },
               [&](wxTopLevelWindow &dialog)
               {
                   EXPECT_EQ(dialog.GetTitle(), "Deleting files");
                   Screenshot(dialog, "deleting");
                   const LongestStretch watch;
                   EXPECT_TRUE(PumpUntil([&] { return fake.calls == 10'000; }, 60'000));
                   stretch = watch.Seconds();
               });
    const std::chrono::duration<double> whole = LongestStretch::Clock::now() - begin;
    EXPECT_LT(stretch, whole.count() / 4);
    EXPECT_GT(stretch, 0);
    EXPECT_EQ(m_log.Count(k_LogInfo, "  Delete: "), 10'000);
    EXPECT_EQ(CommandLines().back(), "5   Delete: " + FramePath(9'999));
    EXPECT_TRUE(fs::is_empty(m_folder.Folder().Text() + "/frames"));
}

TEST_F(FrameCommandsTest, ACancelledDeletionLeavesTheRest)
{
    MakeFrames(1, 50, 1);
    Watch("1-50");
    FocusList();
    FakeUnlink fake;
    fake.wait = std::chrono::milliseconds(150);
    WhileModal([&] { ChooseFromMenu(k_IdDeleteBad); },
               [&](wxTopLevelWindow &dialog) { ClickButton(dialog, wxID_CANCEL); });
    EXPECT_GE(fake.calls, 7) << "the dialog came before a second was over";
    EXPECT_LT(fake.calls, 50);
    std::vector<int> gone(std::size_t(fake.calls));
    std::iota(gone.begin(), gone.end(), 1);
    EXPECT_EQ(CommandLog(), "4 Delete bad frames...\n" + DeleteLines(gone) +
                                "4 Delete cancelled: " + std::to_string(fake.calls) +
                                " of 50 files were gone over\n");
    EXPECT_FALSE(HasFrame(fake.calls));
    EXPECT_TRUE(HasFrame(fake.calls + 1));
    PumpIdle();
    EXPECT_TRUE(Window().IsEnabled());
}
