#pragma once

#include <vector>

#include "ostrel/String.h"

namespace corvan
{

using ostrel::String;

/// Names of job parameters. The values are texts; each comment says what the text holds.
extern const String p_ImageFormat;   ///< "ImageFormat": path patterns of the frames, joined by ";".
extern const String p_Range;         ///< "Range": the frames to render.
extern const String p_UserRange;     ///< "UserRange": the frames to look for; see RenderJob.
extern const String p_CustomRange;   ///< "CustomRange": if not empty, what to look for instead.
extern const String p_SequenceBy;    ///< "SequenceBy": step in frames between two outputs.
extern const String p_RenumberStart; ///< "RenumberStart": output number of the first frame.
extern const String p_RenumberBy;    ///< "RenumberBy": step between output numbers.
extern const String p_PacketSize;    ///< "PacketSize": frames in one packet, 1 or more.
extern const String p_Type;          ///< "Type": identifier of the job type; cannot be set.
extern const String p_Status;        ///< "Status": a JobStatus as a number.
extern const String p_Note;          ///< "Note": free text; of job commands, the selected frame.
extern const String p_Name;          ///< "Name": what people call the job.
extern const String p_Priority;      ///< "Priority": 0 to 100, higher goes first; 50 at first.
extern const String
    p_After; ///< "After": identifiers of jobs, by commas; begins when they are done.
extern const String p_AfterGood;   ///< "AfterGood": the same, and their frames were found good.
extern const String p_FrameOrder;  ///< "FrameOrder": see FrameOrder.h.
extern const String p_RequeueOf;   ///< "RequeueOf": of a requeue, the job that it is one of.
extern const String p_Owner;       ///< "Owner": the user whose job it is; the Master's alone.
extern const String p_Created;     ///< "Created": ISO 8601 UTC, set by the Master alone.
extern const String p_TasksTotal;  ///< "TasksTotal": packets of the job, set by the Master alone.
extern const String p_TasksDone;   ///< "TasksDone", set by the Master alone.
extern const String p_TasksFailed; ///< "TasksFailed", set by the Master alone.
extern const String p_Waiting;     ///< "Waiting": why the job does not go on; the Master's alone.
// The Master's alone, too: what it has seen of the frames, and what it expects. Those that are not
// known are not there.
extern const String p_FrameSeconds; ///< "FrameSeconds": of a frame, half of them take longer.
extern const String p_FrameSecondsSlowest; ///< "FrameSecondsSlowest": the longest of all.
extern const String p_FramesPerHour;       ///< "FramesPerHour": with the slots that the job has.
extern const String p_ExpectedEnd;         ///< "ExpectedEnd": ISO 8601 UTC; while it runs.
extern const String p_StuckTasks;          ///< "StuckTasks": numbers, as a range: "3,7-9".

extern const String p_CheckFrames;  ///< "CheckFrames": what is looked at; see `FrameChecking`.
extern const String p_AutoRequeue;  ///< "AutoRequeue": how often bad frames are rendered again.
extern const String p_QuietSeconds; ///< "QuietSeconds": how long files stay as they are first.

// What came of "CheckFrames", set by the Master alone.
extern const String p_FramesChecked;  ///< "FramesChecked": how far it is; see `FramesCheckedText`.
extern const String p_FramesBad;      ///< "FramesBad": how many frames were bad at the last look.
extern const String p_FramesBadRange; ///< "FramesBadRange": their numbers, as a range.
extern const String p_FrameCounts;    ///< "FrameCounts": files of each kind: "ok 94, missing 2".

/// All of these names.
const std::vector<String> &ParameterNames();

/// True for those that the Master works out from how the frames have come so far.
bool IsForesight(const String &name);

/// True for the parameters that the Master alone sets; it refuses them from a client.
bool IsMasterParameter(const String &name);

} // namespace corvan
