#include <cassert>
#include <limits>
#include <new>
#include <roaring/roaring.h>
#include <type_traits>

#include "corvan/SequenceDistributor.h"

namespace corvan
{

namespace
{

constexpr std::uint32_t ToBits(int frame)
{
    return static_cast<std::uint32_t>(frame) ^ 0x80000000u;
}

constexpr int ToFrame(std::uint32_t bits)
{
    return static_cast<int>(bits ^ 0x80000000u);
}

roaring_bitmap_t *Checked(roaring_bitmap_t *bits)
{
    if (!bits)
        throw std::bad_alloc();
    return bits;
}

using RawPosition = std::array<std::byte, sizeof(roaring_uint32_iterator_t)>;
static_assert(std::is_trivially_copyable_v<roaring_uint32_iterator_t> &&
              alignof(roaring_uint32_iterator_t) <= alignof(std::uint64_t));

roaring_uint32_iterator_t &PositionIn(RawPosition &bytes)
{
    return *std::launder(reinterpret_cast<roaring_uint32_iterator_t *>(bytes.data()));
}

} // namespace

using Items = SequenceDistributor::Items;

void Items::Free::operator()(roaring_bitmap_s *bits) const
{
    roaring_bitmap_free(bits);
}

void Items::const_iterator::TakeFrame()
{
    const auto &at = PositionIn(m_position);
    m_atEnd = !at.has_value;
    m_frame = m_atEnd ? 0 : ToFrame(at.current_value);
}

Items::const_iterator &Items::const_iterator::operator++()
{
    assert(!m_atEnd && "an iterator is not moved past the end");
    roaring_advance_uint32_iterator(&PositionIn(m_position));
    TakeFrame();
    return *this;
}

Items::Items() : m_bits(Checked(roaring_bitmap_create())) {}

Items::Items(std::initializer_list<int> frames) : Items()
{
    for (const int frame : frames)
        insert(frame);
}

Items Items::Steps(int first, int last, int step)
{
    assert(step > 0 && "steps go upwards");
    Items steps;
    if (last < first)
        return steps;

    // The library takes steps of 16 bits; a longer one gives few frames anyway.
    if (step > std::numeric_limits<std::uint16_t>::max())
    {
        for (std::int64_t frame = first; frame <= last; frame += step)
            steps.insert(int(frame));
        return steps;
    }
    const std::uint64_t end = std::uint64_t(ToBits(last)) + 1;
    steps.m_bits.reset(Checked(roaring_bitmap_from_range(ToBits(first), end, std::uint32_t(step))));
    return steps;
}

Items::~Items() = default;

Items::Items(const Items &other) : m_bits(Checked(roaring_bitmap_copy(other.m_bits.get()))) {}

Items &Items::operator=(const Items &other)
{
    if (this != &other)
        m_bits.reset(Checked(roaring_bitmap_copy(other.m_bits.get())));
    return *this;
}

Items::Items(Items &&other) noexcept : Items()
{
    m_bits.swap(other.m_bits);
}

Items &Items::operator=(Items &&other) noexcept
{
    if (this == &other)
        return *this;

    m_bits.swap(other.m_bits);
    other.clear();
    return *this;
}

bool Items::insert(int frame)
{
    return roaring_bitmap_add_checked(m_bits.get(), ToBits(frame));
}

void Items::insertRange(int first, int last)
{
    if (first <= last)
        roaring_bitmap_add_range_closed(m_bits.get(), ToBits(first), ToBits(last));
}

bool Items::erase(int frame)
{
    return roaring_bitmap_remove_checked(m_bits.get(), ToBits(frame));
}

std::size_t Items::insertAll(const Items &other)
{
    const std::uint64_t known = roaring_bitmap_and_cardinality(m_bits.get(), other.m_bits.get());
    const std::size_t isNew = other.size() - known;
    roaring_bitmap_or_inplace(m_bits.get(), other.m_bits.get());
    return isNew;
}

void Items::eraseAll(const Items &other)
{
    roaring_bitmap_andnot_inplace(m_bits.get(), other.m_bits.get());
}

void Items::clear()
{
    roaring_bitmap_clear(m_bits.get());
}

bool Items::empty() const
{
    return roaring_bitmap_is_empty(m_bits.get());
}

std::size_t Items::size() const
{
    return roaring_bitmap_get_cardinality(m_bits.get());
}

bool Items::contains(int frame) const
{
    return roaring_bitmap_contains(m_bits.get(), ToBits(frame));
}

Items::const_iterator Items::begin() const
{
    const_iterator first;
    roaring_init_iterator(m_bits.get(), &PositionIn(first.m_position));
    first.TakeFrame();
    return first;
}

Items::const_iterator Items::lower_bound(int frame) const
{
    const_iterator found;
    auto &at = PositionIn(found.m_position);
    roaring_init_iterator(m_bits.get(), &at);
    if (at.has_value)
        roaring_move_uint32_iterator_equalorlarger(&at, ToBits(frame));
    found.TakeFrame();
    return found;
}

int Items::front() const
{
    assert(!empty() && "an empty set has no first frame");
    return ToFrame(roaring_bitmap_minimum(m_bits.get()));
}

int Items::back() const
{
    assert(!empty() && "an empty set has no last frame");
    return ToFrame(roaring_bitmap_maximum(m_bits.get()));
}

bool operator==(const Items &a, const Items &b)
{
    return roaring_bitmap_equals(a.m_bits.get(), b.m_bits.get());
}

} // namespace corvan
