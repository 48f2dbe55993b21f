#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace simulation
{

using WishNumber = std::size_t;

/// One value that clients set one after the other: what it may be, by what they were answered.
template <typename Value> class Register
{
public:
    /// What it is before anything was asked.
    void Begin(Value value)
    {
        m_base = std::move(value);
    }
    /// From here on it may be this.
    void Take(WishNumber wish, Value value)
    {
        m_taken.emplace_back(wish, std::move(value));
    }
    /// It was this, and only what was taken later may have changed it.
    void Accept(WishNumber wish)
    {
        const auto found = Find(wish);
        if (found == m_taken.end())
            return;
        m_base = found->second;
        m_taken.erase(m_taken.begin(), found + 1);
    }
    void Refuse(WishNumber wish)
    {
        if (const auto found = Find(wish); found != m_taken.end())
            m_taken.erase(found);
    }
    /// It was looked at, and nothing is under way.
    void Settle(Value value)
    {
        m_base = std::move(value);
        m_taken.clear();
    }

    std::vector<Value> Candidates() const
    {
        std::vector<Value> values{m_base};
        for (const auto &[wish, value] : m_taken)
            values.push_back(value);
        return values;
    }
    bool MayBe(const Value &value) const
    {
        return std::ranges::count(Candidates(), value) > 0;
    }

private:
    using Taken = std::vector<std::pair<WishNumber, Value>>;

    typename Taken::iterator Find(WishNumber wish)
    {
        return std::ranges::find(m_taken, wish, &Taken::value_type::first);
    }

    Value m_base{};
    Taken m_taken; // In the order in which the Master took them.
};

} // namespace simulation
