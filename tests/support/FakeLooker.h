#pragma once

#include <map>
#include <vector>

#include "master/frames/FrameLooker.h"

/// Looks at nothing: it keeps what it was asked, and a look ends when the test says so.
class FakeLooker : public master::FrameLooker
{
public:
    struct Asked
    {
        int look = 0;
        check::LookRequest request;
    };
    std::vector<Asked> started;
    std::vector<int> ended; ///< Looks that `End` was called for.

    void Start(int look, const check::LookRequest &request, master::LookListener &listener) override
    {
        started.push_back({look, request});
        m_listeners[look] = &listener;
    }
    void End(int look) override
    {
        ended.push_back(look);
    }
    std::chrono::seconds LimitOf(const check::LookRequest & /*request*/) const override
    {
        return std::chrono::seconds(100);
    }

    void Finish(int look, const check::LookAnswer &answer)
    {
        m_listeners.extract(look).mapped()->OnLooked(look, answer);
    }
    std::size_t CountUnderWay() const
    {
        return m_listeners.size();
    }

private:
    std::map<int, master::LookListener *> m_listeners;
};
