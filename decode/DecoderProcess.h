#pragma once

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

    /// Asks for one file. False when the decoder has ended.
    bool Ask(const Path &path);

    /// The next message; waits for it. Empty when the decoder has ended, or sent more than any
    /// message may be.
    String Receive();

    /// Kills it, if it lives, and gives its status as `waitpid` tells it. Once.
    int End();

private:
    DecoderProcess(const Path &program, unsigned memoryMib, const int (&ends)[2]);

    ostrel::Descriptor m_channel;
    pid_t m_process = -1;
};

} // namespace decode
