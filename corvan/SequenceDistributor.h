#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include <roaring/roaring.hh>

#include "ostrel/String.h"

namespace corvan
{

using ostrel::String;

/// Frame numbers and their textual ranges.
class SequenceDistributor
{
public:
    /// An ordered set of frame numbers, each once, over all of signed 32 bits.
    ///
    /// Compressed: ten million frames take a few megabytes at the worst.
    class Items;

    /// Most frames a range may name.
    static constexpr std::size_t k_MaxFrames = 10'000'000;

    /// Turns a range text into its frames: "N", "A-B", "A-BxS" (every S-th from the lower end),
    /// "A-ByS" (what xS leaves out), joined by ",". Numbers may be negative, blanks may stand
    /// around numbers, a descending range is the same set as the ascending one, one trailing comma
    /// is let pass. The empty text is the empty set.
    ///
    /// Refused, with an empty set and the reason logged as an error: any other empty part, "A-B:S",
    /// a step below 1, other text, numbers outside signed 32 bits, more than `k_MaxFrames` frames.
    static void CalculateItems(const String &range, Items &items);

    /// The same without the log: false, the reason in `*reason` and an empty set when refused.
    static bool ParseRange(const String &range, Items &items, String *reason);

    /// The shortest usual text of a set: {1,2,3,5,7,9,20} is "1-3,5-9x2,20", {1,3} is "1,3". What
    /// `CalculateItems` makes of it is the same set again.
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
        int operator*() const;
        const_iterator &operator++();
        const_iterator operator++(int);
        friend bool operator==(const const_iterator &a, const const_iterator &b);

    private:
        friend class Items;
        // A roaring iterator has no empty state and needs its set; see the .cpp.
        const Items *m_set = nullptr;
        roaring::api::roaring_uint32_iterator_t m_position{};
    };
    using iterator = const_iterator;
    using value_type = int;

    Items() = default;
    Items(std::initializer_list<int> frames);

    /// True when `frame` was not in the set before.
    bool insert(int frame);
    /// All of first..last, both included; nothing when last < first. Cheap however long.
    void insertRange(int first, int last);
    bool erase(int frame);
    void clear();

    bool empty() const;
    std::size_t size() const;
    bool contains(int frame) const;
    std::size_t count(int frame) const
    {
        return contains(frame) ? 1 : 0;
    }

    const_iterator begin() const;
    const_iterator end() const;
    /// The first frame not below `frame`.
    const_iterator lower_bound(int frame) const;

    /// Lowest and highest; the set must not be empty.
    int front() const;
    int back() const;

    friend bool operator==(const Items &a, const Items &b);

private:
    roaring::Roaring m_bits;
};

} // namespace corvan
