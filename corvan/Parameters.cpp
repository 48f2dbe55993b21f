#include "corvan/Parameters.h"

#include "corvan/SizeRule.h"

namespace corvan
{

const String p_ImageFormat = "ImageFormat";
const String p_Range = "Range";
const String p_UserRange = "UserRange";
const String p_CustomRange = "CustomRange";
const String p_SequenceBy = "SequenceBy";
const String p_RenumberStart = "RenumberStart";
const String p_RenumberBy = "RenumberBy";
const String p_PacketSize = "PacketSize";
const String p_Type = "Type";
const String p_Status = "Status";
const String p_Note = "Note";
const String p_Name = "Name";
const String p_Priority = "Priority";
const String p_After = "After";
const String p_AfterGood = "AfterGood";
const String p_FrameOrder = "FrameOrder";
const String p_RequeueOf = "RequeueOf";
const String p_Owner = "Owner";
const String p_Created = "Created";
const String p_TasksTotal = "TasksTotal";
const String p_TasksDone = "TasksDone";
const String p_TasksFailed = "TasksFailed";
const String p_Waiting = "Waiting";
const String p_FrameSeconds = "FrameSeconds";
const String p_FrameSecondsSlowest = "FrameSecondsSlowest";
const String p_FramesPerHour = "FramesPerHour";
const String p_ExpectedEnd = "ExpectedEnd";
const String p_StuckTasks = "StuckTasks";
const String p_CheckFrames = "CheckFrames";
const String p_AutoRequeue = "AutoRequeue";
const String p_QuietSeconds = "QuietSeconds";
const String p_FramesChecked = "FramesChecked";
const String p_FramesBad = "FramesBad";
const String p_FramesBadRange = "FramesBadRange";
const String p_FrameCounts = "FrameCounts";

const std::vector<String> &ParameterNames()
{
    static const std::vector<String> s_names = {
        p_ImageFormat,   p_Range,         p_UserRange,  p_CustomRange,    p_SequenceBy,
        p_RenumberStart, p_RenumberBy,    p_PacketSize, p_Type,           p_Status,
        p_Note,          p_Name,          p_Priority,   p_RequeueOf,      p_Owner,
        p_Created,       p_TasksTotal,    p_TasksDone,  p_TasksFailed,    p_Waiting,
        p_After,         p_AfterGood,     p_FrameOrder, p_FrameSeconds,   p_FrameSecondsSlowest,
        p_FramesPerHour, p_ExpectedEnd,   p_StuckTasks, p_CheckFrames,    p_AutoRequeue,
        p_QuietSeconds,  p_FramesChecked, p_FramesBad,  p_FramesBadRange, p_FrameCounts,
        p_SizeRule,
    };
    return s_names;
}

bool IsForesight(const String &name)
{
    return name == p_FrameSeconds || name == p_FrameSecondsSlowest || name == p_FramesPerHour ||
           name == p_ExpectedEnd || name == p_StuckTasks;
}

bool IsMasterParameter(const String &name)
{
    return name == p_Owner || name == p_Created || name == p_TasksTotal || name == p_TasksDone ||
           name == p_TasksFailed || name == p_Waiting || IsForesight(name) ||
           name == p_FramesChecked || name == p_FramesBad || name == p_FramesBadRange ||
           name == p_FrameCounts;
}

} // namespace corvan
