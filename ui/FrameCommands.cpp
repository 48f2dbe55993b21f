// The commands that act on frames: select, requeue, delete.

#include <set>

#include "analysis/RequeueRange.h"
#include "app/Ordwick.h"
#include "corvan/MessageFactory.h"
#include "corvan/RequeueJob.h"
#include "corvan/SequenceDistributor.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"
#include "ui/FileList.h"
#include "ui/MainWindow.h"

using namespace corvan;
using namespace ostrel;

void MainWindow::OnSelectBad(wxCommandEvent & /*event*/)
{
    _CallEntry call("MainWindow::OnSelectBad", __FILE__, __LINE__);

    m_fileList->SelectBad();
}

void MainWindow::OnRequeueSelected(wxCommandEvent & /*event*/)
{
    _CallEntry call("MainWindow::OnRequeueSelected", __FILE__, __LINE__);

    LogStatus("Requeue selected frames...");
    const SequenceDistributor::Items frames = m_fileList->GetSDISelection();
    if (frames.empty())
    {
        LogInfo("   Nothing selected");
        return;
    }
    RequeueFrames(frames);
}

void MainWindow::OnRequeueBad(wxCommandEvent & /*event*/)
{
    _CallEntry call("MainWindow::OnRequeueBad", __FILE__, __LINE__);

    LogStatus("Requeue bad frames...");
    const SequenceDistributor::Items frames = m_fileList->FindBadFrames();
    if (!frames.empty())
        RequeueFrames(frames);
}

void MainWindow::RequeueFrames(const SequenceDistributor::Items &frames)
{
    _CallEntry call("MainWindow::RequeueFrames", __FILE__, __LINE__);

    const String range = SequenceDistributor::CalculateRange(frames);
    LogInfo(" + Requeue range: " + range);
    const auto job = JobForCommand("Requeue");
    if (!job)
        return;
    if (!SubmitRequeue(*job, range))
        return;
    if (!m_requeueNotice.empty() && Notice() == m_requeueNotice)
        HideNotice();
    TellWhatElseIsRendered(*job, frames);
}

void MainWindow::TellWhatElseIsRendered(const Job &job, const SequenceDistributor::Items &frames)
{
    _CallEntry call("MainWindow::TellWhatElseIsRendered", __FILE__, __LINE__);

    const auto input = analysis::ReadExpansionInput(job);
    if (!input)
        return;
    SequenceDistributor::Items ownRange;
    SequenceDistributor::CalculateItems(job.ParameterText(p_Range, true), ownRange);
    if (analysis::WritesOtherNumbers(*input, ownRange) ||
        analysis::WritesOtherNumbers(*input, frames))
    {
        TellOfRenumbering();
        return;
    }
    SequenceDistributor::Items besides = analysis::FindRenderedFrames(*input, frames);
    besides.eraseAll(frames);
    if (!besides.empty())
        TellOfGoodFrames(m_fileList->Table().CountGood(besides));
}

void MainWindow::TellOfRenumbering()
{
    _CallEntry call("MainWindow::TellOfRenumbering", __FILE__, __LINE__);

    // What is requeued are the numbers of files, which the new job takes for frames, and it counts
    // anew from the first of them: it may render other frames, over files that are good.
    LogWarning("Requeue: the job renumbers its frames, so the new job is not of the same frames");
    TellOfRequeue(
        _("This job renumbers its frames: the new job renders other frames than those that "
          "were requeued. \"corvan requeue\" finds the frames to render."));
}

void MainWindow::TellOfGoodFrames(std::size_t count)
{
    _CallEntry call("MainWindow::TellOfGoodFrames", __FILE__, __LINE__);

    if (count == 0)
        return;
    LogWarning("Requeue: packets are rendered whole, good frames that are rendered again: " +
               std::to_string(count));
    wxString text = _("The packets of this job are rendered whole. Good frames that the new job "
                      "renders again: {count}. \"corvan requeue --exact\" leaves them alone.");
    text.Replace("{count}", std::to_string(count));
    TellOfRequeue(text);
}

void MainWindow::TellOfRequeue(const wxString &notice)
{
    _CallEntry call("MainWindow::TellOfRequeue", __FILE__, __LINE__);

    m_requeueNotice = notice;
    ShowNotice(notice);
}

bool MainWindow::SubmitRequeue(const Job &job, const String &range)
{
    _CallEntry call("MainWindow::SubmitRequeue", __FILE__, __LINE__);

    const boost::shared_ptr<Job> requeue = MakeRequeueJob(job, range);
    if (!requeue)
        return false;

    const auto message =
        boost::static_pointer_cast<JobMsg>(MessageFactory::CreateMessage(JobMsg::s_Type));
    message->job = requeue;
    Messenger::Send(message);
    return true;
}

void MainWindow::OnDeleteSelected(wxCommandEvent & /*event*/)
{
    _CallEntry call("MainWindow::OnDeleteSelected", __FILE__, __LINE__);

    LogStatus("Delete selected frames...");
    DeleteFiles(m_fileList->SelectedPaths());
}

void MainWindow::OnDeleteBad(wxCommandEvent & /*event*/)
{
    _CallEntry call("MainWindow::OnDeleteBad", __FILE__, __LINE__);

    LogStatus("Delete bad frames...");
    DeleteFiles(m_fileList->FindBadPaths());
}

boost::shared_ptr<Job> MainWindow::JobForCommand(const char *command) const
{
    _CallEntry call("MainWindow::JobForCommand", __FILE__, __LINE__);

    const boost::shared_ptr<Job> job = wxGetApp().CurrentJob();
    if (!job)
        LogWarning(String(command) + ": there is no job yet, nothing was done");
    return job;
}
