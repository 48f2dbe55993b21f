#include "decode/DecoderEnd.h"

#include <csignal>
#include <cstring>
#include <fmt/format.h>
#include <sys/wait.h>

#include "decode/ServeDecoder.h"

namespace decode
{

DecoderEnd JudgeEnd(int status, unsigned memoryMib)
{
    if (WIFEXITED(status) && WEXITSTATUS(status) == k_OutOfMemory)
        return {fmt::format("takes more memory than {} MiB", memoryMib), {}};
    const String text = "its decoder " + DecoderEndText(status);
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
        return {text, {}};
    return {{}, text};
}

String DecoderEndText(int status)
{
    if (WIFSIGNALED(status))
        return fmt::format("ended by signal {} ({})", WTERMSIG(status),
                           strsignal(WTERMSIG(status)));
    return fmt::format("ended with status {}", WEXITSTATUS(status));
}

String LateText(std::chrono::seconds time)
{
    return fmt::format("took longer than {} s", time.count());
}

} // namespace decode
