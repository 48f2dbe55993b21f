#pragma once

#include <OpenImageIO/deepdata.h>
#include <cstdint>
#include <span>

namespace decode
{

/// Lays the samples of a deep pixel over each other, the nearest one above; sorts them for that.
///
/// `values` takes as many channels as it has room for, from `firstChannel` on, and is zero before;
/// colours are taken for multiplied with their alpha. Where the index of the alpha is negative
/// there is none, and the nearest sample hides all others.
void FlattenDeep(OIIO::DeepData &data, std::int64_t pixel, int firstChannel, int alpha,
                 std::span<float> values);

} // namespace decode
