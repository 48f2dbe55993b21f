#pragma once

namespace corvan
{

/// What sort of program a client is; it tells the Master so when it connects.
enum ClientKind : int
{
    k_ClientCommandLine = 1, ///< `corvan`: asks, waits for the answer, and goes.
    k_ClientWorker = 2,      ///< A remote runner.
    k_ClientWatcher = 3,     ///< Watches jobs in a window and stays connected: Ordwick.
    k_ClientPage = 4,        ///< Watches all jobs and has browsers see them: `corvan-web`.
};

} // namespace corvan
