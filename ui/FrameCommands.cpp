// The commands that act on frames: select, requeue, delete.

#include <set>

#include "app/Ordwick.h"
#include "corvan/JobFactory.h"
#include "corvan/MessageFactory.h"
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
    if (const auto job = JobForCommand("Requeue"))
        SubmitRequeue(*job, range);
}

void MainWindow::SubmitRequeue(const Job &job, const String &range)
{
    _CallEntry call("MainWindow::SubmitRequeue", __FILE__, __LINE__);

    const UID type(job.ParameterText(p_Type, true), false);
    const boost::shared_ptr<Job> requeue = JobFactory::s_JobFactory.CreateJob(type);
    if (!requeue)
        return; // The factory has logged it.
    requeue->CopyFrom(job, true);
    requeue->SetID(UID(true));

    String queued;
    queued = static_cast<int>(JobStatus::Queued);
    requeue->SetParameter(p_Status, queued);
    if (!requeue->SetParameter(p_Range, range))
        return;

    const auto message =
        boost::static_pointer_cast<JobMsg>(MessageFactory::CreateMessage(JobMsg::s_Type));
    message->job = requeue;
    Messenger::Send(message);
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
