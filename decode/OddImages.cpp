#include "decode/OddImages.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>

namespace decode
{

namespace
{

// How often each kind stands in a window over the rows, and which one does most often.
class KindCounts
{
public:
    void Change(const ImageKind *kind, int by)
    {
        if (!kind)
            return;
        int &count = m_counts[kind];
        m_order.erase({count, kind});
        count += by;
        m_total += by;
        m_order.insert({count, kind});
    }

    // The kind of more than half of what is counted; null when there is none.
    const ImageKind *Majority() const
    {
        if (m_order.empty())
            return nullptr;
        const auto &[count, kind] = *m_order.rbegin();
        return 2 * count > m_total ? kind : nullptr;
    }

private:
    int m_total = 0;
    std::map<const ImageKind *, int> m_counts;
    std::set<std::pair<int, const ImageKind *>> m_order;
};

// One pointer for all rows of a kind, so that kinds compare by it.
std::vector<const ImageKind *> ShareKinds(const std::vector<std::optional<ImageKind>> &kinds)
{
    std::map<ImageKind, const ImageKind *> first;
    std::vector<const ImageKind *> shared;
    shared.reserve(kinds.size());
    for (const std::optional<ImageKind> &kind : kinds)
        shared.push_back(kind ? first.try_emplace(*kind, &*kind).first->second : nullptr);
    return shared;
}

} // namespace

std::vector<const ImageKind *> FindOddImages(const std::vector<std::optional<ImageKind>> &kinds,
                                             int frameOffset)
{
    std::vector<const ImageKind *> odd(kinds.size());
    if (frameOffset < 0)
        return odd;

    const std::vector<const ImageKind *> shared = ShareKinds(kinds);
    const auto rows = std::int64_t(shared.size());
    KindCounts window; // Over [begin, end) without the row itself.
    std::int64_t begin = 0;
    std::int64_t end = 0;
    for (std::int64_t row = 0; row < rows; ++row)
    {
        for (; end < std::min(row + frameOffset + 1, rows); ++end)
            window.Change(shared[std::size_t(end)], 1);
        for (; begin < row - frameOffset; ++begin)
            window.Change(shared[std::size_t(begin)], -1);

        const ImageKind *own = shared[std::size_t(row)];
        window.Change(own, -1);
        const ImageKind *majority = window.Majority();
        window.Change(own, 1);
        if (own && majority && majority != own)
            odd[std::size_t(row)] = majority;
    }
    return odd;
}

} // namespace decode
