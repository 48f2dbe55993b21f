#pragma once

#include <map>
#include <utility>

#include "master/run/LogLooks.h"

/// Looks at no file: it tells what the test says of each run, or hangs.
class FakeLogLooks : public master::LogLooks
{
public:
    bool hangs = false;
    std::map<int, std::int64_t> bytes; ///< By run; one that is not there has no file.
    std::vector<Asked> asked;          ///< The last time.

    void Begin(std::vector<Asked> files) override
    {
        asked = std::move(files);
        m_isAsked = true;
    }
    bool IsLooking() const override
    {
        return m_isAsked && hangs;
    }
    std::optional<std::vector<Seen>> TakeResult() override
    {
        if (!m_isAsked || hangs)
            return std::nullopt;
        m_isAsked = false;
        std::vector<Seen> all;
        for (const Asked &one : asked)
            all.push_back({.run = one.run, .bytes = bytes.contains(one.run) ? bytes[one.run] : -1});
        return all;
    }

private:
    bool m_isAsked = false;
};
