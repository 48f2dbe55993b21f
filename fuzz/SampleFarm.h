#pragma once

#include "corvan/JobFactory.h"
#include "corvan/MessageFactory.h"
#include "corvan/messages.pb.h"
#include "fuzz/Require.h"
#include "master/requests/Dispatcher.h"
#include "master/requests/LogWishes.h"
#include "master/watch/NodeWishes.h"
#include "ostrel/Log.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FakeRunner.h"

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

/// Starts nothing, and has one machine at a time, whose state is why it was drained. A machine
/// without a name is not known.
struct SampleMachines : FakeRunner
{
    std::map<ostrel::String, ostrel::String> states;

    bool SetNode(const ostrel::String &node, bool drains, const ostrel::String &reason,
                 NodeSet done) override
    {
        if (node.empty())
        {
            done("no such machine");
            return true;
        }
        states = {{node, drains ? reason : "idle"}};
        done({});
        return true;
    }
    bool AskNodes(NodeStates done) override
    {
        done(states);
        return true;
    }
};

/// What of the Master a request meets. The store is in memory.
struct SampleFarm
{
    master::JobStore store{":memory:"};
    master::JobCache cache{store};
    master::Followers followers;
    master::TaskLogs logs{"/nonexistent"};
    master::Dispatcher dispatcher{store, cache, followers};
    FakeClock clock;
    master::NodeBook nodes{clock};
    SampleMachines machines;

    /// All that is said in answer, what is asked of the machines included.
    master::Outbox Ask(const master::Caller &caller, const corvan::Message &message)
    {
        master::Outbox outbox;
        master::JobStore::Step step(store);
        dispatcher.Handle(caller, message, outbox);
        step.Keep();
        master::NodeWishes wishes(nodes, machines,
                                  [&outbox](master::Outbox answer)
                                  { outbox.Append(std::move(answer)); });
        const std::vector<master::NodeWish> wished = outbox.NodeWishes();
        for (const master::NodeWish &wish : wished)
            wishes.CarryOut(wish);
        const std::vector<master::LogWish> logWishes = outbox.LogWishes();
        for (const master::LogWish &wish : logWishes)
            outbox.Answer(wish.client, wish.serial, master::ReadLog(logs, wish));
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
