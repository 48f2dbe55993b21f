// The commands that act on frames: select, requeue, delete.

#include <set>

#include "analysis/Expansion.h"
#include "app/Ordwick.h"
#include "corvan/MessageFactory.h"
#include "corvan/RequeueJob.h"
#include "corvan/SequenceDistributor.h"
#include "ostrel/CallEntry.h"
#include "ostrel/File.h"
#include "ostrel/Log.h"
#include "ui/FileList.h"
#include "ui/MainWindow.h"

using namespace corvan;
using namespace ostrel;

void DeleteFiles(std::set<Path> paths)
{
    for (const Path &path : paths)
    {
        LogInfo("  Delete: " + path.Text());
        File::Delete(path, false);
    }
}

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
    if (SubmitRequeue(*job, range))
        WarnOfRenumbering(*job, frames);
}

void MainWindow::WarnOfRenumbering(const Job &job, const SequenceDistributor::Items &frames)
{
    _CallEntry call("MainWindow::WarnOfRenumbering", __FILE__, __LINE__);

    // What is requeued are the numbers of files, which the new job takes for frames, and it counts
    // anew from the first of them: it may render other frames, over files that are good.
    const auto input = analysis::ReadExpansionInput(job);
    if (!input)
        return;
    SequenceDistributor::Items rendered;
    SequenceDistributor::CalculateItems(job.ParameterText(p_Range, true), rendered);
    if (!analysis::WritesOtherNumbers(*input, rendered) &&
        !analysis::WritesOtherNumbers(*input, frames))
        return;
    LogWarning("Requeue: the job renumbers its frames, so the new job is not of the same frames");
    ShowNotice(_("This job renumbers its frames: the new job renders other frames than the bad "
                 "ones. \"corvan requeue\" finds the frames to render."));
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
