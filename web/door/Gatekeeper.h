#pragma once

#include <functional>

#include "web/door/Request.h"

namespace web
{

/// Knows whose a token is: the Master does. A personal server's own token is the door's business,
/// so it is asked nothing there. Loop thread.
class Gatekeeper
{
public:
    struct Verdict
    {
        unsigned status = 200; ///< 401 for a token that is nobody's, 503 where there is no Master.
        String reason{};       ///< A sentence, where it is not 200.
    };
    using Told = std::function<void(const Verdict &)>;

    virtual ~Gatekeeper() = default;

    /// Calls `told` once, now or later; one that is dropped means 503. For each new session, before
    /// any of its requests comes through.
    virtual void AskWhose(const std::shared_ptr<const Caller> &caller, Told told) = 0;
    /// No request of the session comes any more: by its own wish, of age, or since
    /// `Server::EndSession` was called. Only of those that were let in.
    virtual void OnEnded(const std::shared_ptr<const Caller> &caller) = 0;
};

} // namespace web
