#pragma once

#include <chrono>
#include <string>
#include <sys/types.h>

#include "ostrel/Descriptor.h"
#include "ostrel/Path.h"

namespace decode
{

using ostrel::Path;
using ostrel::String;

/// A decoder, as a child process, and the channel to it.
///
/// Killed at the end of this object's life. Not thread-safe; the decoder also ends when the thread
/// that started it does.
class DecoderProcess
{
public:
    /// Starts the program; it is ready once it has greeted. `memoryMib` is what reading files may
    /// take. Throws `ostrel::ProcessException *` with the reason when it cannot be started.
    DecoderProcess(const Path &program, unsigned memoryMib);
    ~DecoderProcess();
    DecoderProcess(const DecoderProcess &) = delete;
    DecoderProcess &operator=(const DecoderProcess &) = delete;

    /// A descriptor that is readable when there is a message, or the decoder has ended.
    int Channel() const
    {
        return m_channel.Number();
    }

    /// Sends a message that `PackRequest` has made. False when the decoder has ended.
    bool Ask(const std::string &request);

    /// The next message; waits for it. Empty when the decoder has ended, or sent more than any
    /// message may be.
    String Receive();

    /// Kills it, if it lives, and gives its status as `waitpid` tells it. Once.
    int End();

    /// The rest is for who must not wait: one that hangs in a disk's hands may take its time,
    /// killed or not.
    ///
    /// Kills it, and does not wait for its end.
    void Kill();
    /// A descriptor that is readable once it has ended; the caller's to close. Negative where the
    /// system has none left.
    int OpenEnd() const;
    /// `End`, but leaves one that takes longer to the system.
    void EndWithin(std::chrono::milliseconds time);

private:
    DecoderProcess(const Path &program, unsigned memoryMib, const int (&ends)[2]);

    ostrel::Descriptor m_channel;
    pid_t m_process = -1;
};

} // namespace decode
