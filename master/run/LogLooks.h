#pragma once

#include <cstdint>
#include <future>
#include <optional>
#include <vector>

#include "ostrel/Path.h"

namespace master
{

using ostrel::Path;

/// Looks how large files are and when they were changed, many at a time, without holding up who
/// asks: the logs of what runs. Loop thread.
class LogLooks
{
public:
    struct Asked
    {
        int run = 0;
        Path file;
    };
    /// Two that are alike are of a file that nobody has written to meanwhile.
    struct Seen
    {
        int run = 0;
        std::int64_t bytes = -1;    ///< -1 where there is no file.
        std::int64_t changedNs = 0; ///< By some clock: for comparing alone.
        std::uint64_t inode = 0;

        friend bool operator==(const Seen &, const Seen &) = default;
    };

    virtual ~LogLooks() = default;

    /// Begins to look. Not while it is looking.
    virtual void Begin(std::vector<Asked> files) = 0;
    virtual bool IsLooking() const = 0;
    /// What it has seen, once; nothing while it is looking, and where there was nothing to do.
    virtual std::optional<std::vector<Seen>> TakeResult() = 0;
};

/// On a thread of its own each time. A share that hangs keeps that one thread, for as long as it
/// does; where this object goes first, the thread is left to itself.
class LogThread : public LogLooks
{
public:
    void Begin(std::vector<Asked> files) override;
    bool IsLooking() const override;
    std::optional<std::vector<Seen>> TakeResult() override;

private:
    std::future<std::vector<Seen>> m_seen;
};

} // namespace master
