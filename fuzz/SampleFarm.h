#pragma once

#include "corvan/JobFactory.h"
#include "corvan/MessageFactory.h"
#include "corvan/messages.pb.h"
#include "fuzz/Require.h"
#include "master/Dispatcher.h"
#include "ostrel/Log.h"

/// The only job type that is known.
inline const corvan::UID k_sample_type("0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e01", true);

/// Before the first input.
inline void StartSampleFarm()
{
    ostrel::LogStart({ostrel::k_LogNone, ostrel::k_LogNone, {}});
    corvan::JobType type;
    type.id = k_sample_type;
    type.name = "Sample";
    type.renderCommand = {"true", "{Arguments}", "{Outputs}"};
    corvan::JobFactory::s_JobFactory.AddType(std::move(type));
}

/// What of the Master a request meets. The store is in memory.
struct SampleFarm
{
    master::JobStore store{":memory:"};
    master::JobCache cache{store};
    master::Followers followers;
    master::TaskLogs logs{"/nonexistent"};
    master::Dispatcher dispatcher{store, cache, followers, logs};

    master::Outbox Ask(const master::Caller &caller, const corvan::Message &message)
    {
        master::Outbox outbox;
        master::JobStore::Step step(store);
        dispatcher.Handle(caller, message, outbox);
        step.Keep();
        return outbox;
    }
};

/// Ends the run where a message of the Master is not one that a client takes.
inline void RequireReadable(const master::Outgoing &outgoing)
{
    corvan::wire::Envelope envelope;
    corvan::MessageFactory::ToEnvelope(*outgoing.message, envelope);
    corvan::String reason;
    Require(corvan::MessageFactory::FromEnvelope(envelope, &reason) != nullptr,
            "a client takes what the Master says");
}
