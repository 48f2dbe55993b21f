#pragma once

#include <vector>

#include "decode/DecodeFiles.h"

namespace decode
{

/// A strip that was asked for, and what it had to do without.
struct MadeStrip
{
    Picture picture;
    std::vector<Path> without{}; ///< Neighbours with whom there is none; they are an even grey.
    String why{};                ///< There is none with them, in one line; empty where all are in.
};

/// Told the index of a request and what has come of it.
using FoundStrip = std::function<void(std::size_t, const MadeStrip &)>;

/// Has strips made, as `DecodeCrew::Make` does. A neighbour that ends the decoder, or with which it
/// takes more than it may, costs no more than its own place in the strip: that is tried up to three
/// times more.
void MakeStrips(DecodeCrew &crew, std::span<const DecodeRequest> requests, const FoundStrip &found);

} // namespace decode
