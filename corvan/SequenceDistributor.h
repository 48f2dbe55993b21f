#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <memory>

#include "ostrel/String.h"

struct roaring_bitmap_s; // Of CRoaring, which the .cpp alone includes.

namespace corvan
{

using ostrel::String;

/// Frame numbers and their textual ranges.
class SequenceDistributor
{
public:
    /// An ordered set of frame numbers, each once, over all of signed 32 bits.
    ///
    /// Compressed: a run of frames takes a few bytes however long, ten million frames with gaps
    /// a few megabytes, and 20 MB where they are scattered over all numbers there are.
    class Items;

    /// Most frames a range may name.
    static constexpr std::size_t k_MaxFrames = 10'000'000;

    /// Turns a range text into its frames: "N", "A-B", "A-BxS" (every S-th from the lower end),
    /// "A-ByS" (what xS leaves out), joined by ",". Numbers may be negative, blanks may stand
    /// around numbers, a descending range is the same set as the ascending one, one trailing comma
    /// is let pass. The empty text is the empty set.
    ///
    /// Refused, with an empty set and the reason logged as an error: any other empty part, "A-B:S",
    /// a step below 1, other text, numbers outside signed 32 bits, more than `k_MaxFrames` frames
    /// (each counted once), and a text that names the same frames over and over with steps.
    static void CalculateItems(const String &range, Items &items);

    /// The same without the log: false, the reason in `*reason` (which names the text, cut where
    /// it is long) and an empty set when refused. `reason` may be null. Takes time by the length
    /// of the text and the number of stepped frames, never by the length of a plain run; two
    /// seconds at the very worst.
    static bool ParseRange(const String &range, Items &items, String *reason);

    /// The shortest usual text of a set: {1,2,3,5,7,9,20} is "1-3,5-9x2,20", {1,3} is "1,3", {1,2}
    /// is "1,2". What `CalculateItems` makes of it is the same set again.
    static String CalculateRange(const Items &items);
};

class SequenceDistributor::Items
{
public:
    /// Goes through the frames in ascending order. Invalid once the set is changed.
    class const_iterator
    {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = int;
        using difference_type = std::ptrdiff_t;
        using pointer = const int *;
        using reference = int;

        const_iterator() = default;
        int operator*() const
        {
            return m_frame;
        }
        const_iterator &operator++();
        const_iterator operator++(int)
        {
            const_iterator before = *this;
            ++*this;
            return before;
        }
        friend bool operator==(const const_iterator &a, const const_iterator &b)
        {
            return a.m_atEnd == b.m_atEnd && a.m_frame == b.m_frame;
        }

    private:
        friend class Items;
        void TakeFrame();

        // The library's own iterator, as bytes: it holds no resource.
        alignas(std::uint64_t) std::array<std::byte, 48> m_position{};
        int m_frame = 0;
        bool m_atEnd = true;
    };
    using iterator = const_iterator;
    using value_type = int;

    Items();
    Items(std::initializer_list<int> frames);
    /// first, first + step, ... up to `last`; `step` is 1 or more.
    static Items Steps(int first, int last, int step);
    ~Items();
    Items(const Items &other);
    Items &operator=(const Items &other);
    /// What is left behind is empty, and can be used.
    Items(Items &&other) noexcept;
    Items &operator=(Items &&other) noexcept;

    /// True when `frame` was not in the set before.
    bool insert(int frame);
    /// All of first..last, both included; nothing when last < first. Cheap however long.
    void insertRange(int first, int last);
    /// True when `frame` was in the set.
    bool erase(int frame);
    /// All of another set; how many of them were not in this one before.
    std::size_t insertAll(const Items &other);
    void eraseAll(const Items &other);
    void clear();

    bool empty() const;
    std::size_t size() const;
    bool contains(int frame) const;
    std::size_t count(int frame) const
    {
        return contains(frame) ? 1 : 0;
    }

    const_iterator begin() const;
    const_iterator end() const
    {
        return {};
    }
    /// The first frame not below `frame`.
    const_iterator lower_bound(int frame) const;

    /// Lowest and highest; the set must not be empty.
    int front() const;
    int back() const;

    friend bool operator==(const Items &a, const Items &b);

private:
    struct Free
    {
        void operator()(roaring_bitmap_s *bits) const;
    };
    // Never null. Holds the frames with their sign bit turned, so that its order of unsigned
    // numbers is theirs.
    std::unique_ptr<roaring_bitmap_s, Free> m_bits;
};

bool operator==(const SequenceDistributor::Items &a, const SequenceDistributor::Items &b);

} // namespace corvan
