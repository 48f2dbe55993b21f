// A range text from outside: what is taken comes back as the same set, what is refused has a reason
// and leaves nothing behind.
#include <cstdint>
#include <string_view>

#include "corvan/SequenceDistributor.h"
#include "corvan/Utf8.h"
#include "fuzz/Require.h"

using corvan::SequenceDistributor;
using corvan::String;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const String text(std::string_view(reinterpret_cast<const char *>(data), size));
    SequenceDistributor::Items items;
    String reason;
    const bool isTaken = SequenceDistributor::ParseRange(text, items, &reason);
    Require(isTaken == reason.empty(), "a reason is given exactly for what is refused");
    Require(corvan::IsUtf8(reason), "a reason is UTF-8");
    Require(items.size() <= SequenceDistributor::k_MaxFrames, "no more frames than allowed");
    Require(isTaken || items.empty(), "a refused text names no frame");

    // Scattered frames by the million take seconds to write; a hundred thousand tell as much.
    if (items.size() > 100'000)
        return 0;
    SequenceDistributor::Items again;
    Require(
        SequenceDistributor::ParseRange(SequenceDistributor::CalculateRange(items), again, &reason),
        "what is written can be read");
    Require(again == items, "what is read back is the same set");
    return 0;
}
