#pragma once

#include "corvan/Messages.h"
#include "master/jobs/Followers.h"
#include "master/requests/Dependences.h"
#include "master/requests/JobAnswers.h"
#include "master/requests/JobEdits.h"
#include "master/requests/NewJobs.h"
#include "master/requests/Removals.h"
#include "master/requests/Rights.h"
#include "ostrel/LoopThread.h"

namespace master
{

using ostrel::LoopThread;

/// Carries out the requests of the clients: sees that the right to it is there, and hands each to
/// whoever handles its kind.
///
/// Changes go to the store, inside the turn and step that the caller has opened; what is to be
/// answered, told and recorded goes to the outbox, for when they are on disk. Loop thread.
class Dispatcher
{
public:
    Dispatcher(JobStore &store, JobCache &cache, Followers &followers,
               JobAnswers::FindPlaces findPlaces = {});

    /// Handles one message of one client. Throws `StoreException *` where the store refuses; the
    /// caller then undoes the step and answers.
    void Handle(const Caller &caller, const Message &message, Outbox &outbox);

    /// Removes a job for nobody in particular, and tells its followers. May throw
    /// `StoreException *`.
    void TakeAway(const JobState &state, Outbox &outbox);

    Dependences &Waiting()
    {
        return m_dependences;
    }

private:
    std::optional<MissingRight> FindMissing(const Caller &caller, const Need &need);
    void Carry(const ClientRequest &request);
    static void WishOfNodes(const ClientRequest &request, std::optional<NodeWish::Order> order);
    void Follow(const ClientRequest &request, const corvan::FollowJobMsg &message);

    JobStore &m_store;
    Followers &m_followers;
    Dependences m_dependences;
    JobAnswers m_answers;
    NewJobs m_newJobs;
    JobEdits m_edits;
    Removals m_removals;
    LoopThread m_thread;
};

} // namespace master
