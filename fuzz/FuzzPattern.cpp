// A frame pattern from outside, and a number: what is taken must format as fmt does and stay within
// the length that was promised.
#include <cstdint>
#include <cstring>
#include <fmt/printf.h>
#include <string_view>

#include "analysis/FramePattern.h"
#include "fuzz/Require.h"

using namespace analysis;

namespace
{

void TryPattern(std::string_view text, int number)
{
    String reason;
    const auto pattern = FramePattern::Parse(text, &reason);
    Require(pattern.has_value() == reason.empty(), "a refusal has a reason");
    if (!pattern)
        return;

    const String path = pattern->Format(number);
    Require(path == fmt::sprintf(text, number), "a path is what the formatter makes");
    Require(path.size() <= pattern->LongestPath(), "no path is longer than promised");
    Require(PatternFromHashes(String(text)) == text, "a pattern is left as it is");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    int number = 0;
    if (size < sizeof number)
        return 0;

    std::memcpy(&number, data, sizeof number);
    const std::string_view text(reinterpret_cast<const char *>(data) + sizeof number,
                                size - sizeof number);
    TryPattern(text, number);
    TryPattern(PatternFromHashes(String(text)), number);
    return 0;
}
