#pragma once

/// Numbers of the window's own menu commands; those of the job's commands lie elsewhere.
enum CommandId : int
{
    k_IdCustomRange = 1001,
    k_IdSelectBad = 1002,
    k_IdRequeueSelected = 1003,
    k_IdRequeueBad = 1004,
    k_IdDeleteSelected = 1005,
    k_IdDeleteBad = 1006,
    k_IdConfig = 1007,
    k_IdChangePaths = 1008,
};
