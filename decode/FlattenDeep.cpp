#include "decode/FlattenDeep.h"

#include <algorithm>

namespace decode
{

void FlattenDeep(OIIO::DeepData &data, std::int64_t pixel, int firstChannel, int alpha,
                 std::span<float> values)
{
    data.sort(pixel);
    float open = 1.0f; // How much of what lies behind is seen.
    for (int sample = 0; sample < data.samples(pixel) && open > 0.0f; ++sample)
    {
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] += open * data.deep_value(pixel, firstChannel + int(i), sample);
        open *=
            alpha < 0 ? 0.0f : std::clamp(1.0f - data.deep_value(pixel, alpha, sample), 0.0f, 1.0f);
    }
}

} // namespace decode
