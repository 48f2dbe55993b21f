// corvan-check: looks at the frames of one job for the Master, which a share that hangs or an image
// that takes all memory must not hold up. It is asked by its arguments (`check/LookRequest.h`) and
// prints what it has found (`check/LookAnswer.h`).
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

#include "check/AnswerLook.h"

int main(int argc, char **argv)
{
    // What libraries print would stand amid the answer.
    if (const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC); nowhere >= 0)
        ::dup2(nowhere, STDERR_FILENO);
    const auto request = check::ReadArguments({argv + 1, argv + argc});
    check::LookAnswer answer;
    if (request)
        answer = check::AnswerLook(*request);
    else
        answer.trouble = "corvan-check is of another version than the Master";
    const std::string text = check::PackAnswer(answer);
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    return isWritten && std::fflush(stdout) == 0 ? 0 : 1;
}
