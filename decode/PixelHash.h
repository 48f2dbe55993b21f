#pragma once

#include <cstdint>
#include <memory>
#include <new>
#if defined(__x86_64__)
#include <xxh_x86dispatch.h> // Takes the widest instructions that there are, a third of the time.
#else
#include <xxhash.h>
#endif

#include "decode/PixelBlock.h"

namespace decode
{

/// A number that tells pictures apart to the bit: XXH3 of 64 bits, of all values as they are
/// read. Two pictures of one kind of file alone can be held against each other.
class PixelHash
{
public:
    PixelHash() : m_state(XXH3_createState(), XXH3_freeState)
    {
        if (!m_state)
            throw std::bad_alloc();
        XXH3_64bits_reset(m_state.get());
    }

    void Add(const PixelBlock &block, std::size_t pixelBytes)
    {
        const auto bytes = [pixelBytes](int pixels) { return std::size_t(pixels) * pixelBytes; };
        for (int row = 0; row < block.height; ++row)
            XXH3_64bits_update(m_state.get(), block.pixels + std::size_t(row) * bytes(block.stride),
                               bytes(block.width));
    }

    /// What the values alone do not tell, as where they are.
    void Add(std::int64_t number)
    {
        XXH3_64bits_update(m_state.get(), &number, sizeof number);
    }

    std::uint64_t Value() const
    {
        return XXH3_64bits_digest(m_state.get());
    }

private:
    std::unique_ptr<XXH3_state_t, XXH_errorcode (*)(XXH3_state_t *)> m_state;
};

} // namespace decode
