#pragma once

#include <map>
#include <memory>
#include <optional>

#include "tests/simulation/Agenda.h"
#include "tests/simulation/Ledger.h"
#include "tests/simulation/SimulatedDoor.h"

namespace simulation
{

/// A client that follows jobs, hands some in and changes what is there. It sends a submit again
/// until it is answered, as `corvan submit` does; where a change was not answered it asks no more.
class Client : private SimulatedDoor::Visitor
{
public:
    /// What all clients of a history share; it outlives them.
    struct World
    {
        Agenda &agenda;
        Chance &chance;
        Verdict &verdict;
        Ledger &ledger;
    };

    Client(const World &world, int number, std::shared_ptr<const master::Identity> who);

    /// Through this door, which it leaves before that is gone. What it followed it asks for anew.
    void Connect(SimulatedDoor &door);
    /// What was not answered never is; what was is perhaps not read.
    void Disconnect();
    /// The Master has ended: there is no door to leave.
    void LoseMaster();
    bool IsConnected() const
    {
        return m_door != nullptr;
    }

    /// Does something, whatever it may be.
    void Act();
    /// No new jobs, no changes; it reads what it is sent at once.
    void CalmDown()
    {
        m_isCalm = true;
    }
    /// The job is to go on, or to run again.
    void SetGoing(const UID &job);
    /// The job is to wait for no other.
    void LetGo(const UID &job);
    /// The same of a job that the Master has made, of which the ledger knows nothing.
    void SetGoingOfMaster(const UID &job);
    /// Sends the submits again that were not answered.
    void SendAgain();
    bool HasOpenSubmits() const
    {
        return !m_openSubmits.empty();
    }

    /// Whether what it was told of the jobs that it follows is what there is. Task counts come a
    /// little late while a job runs: they are only looked at where `withCounts`.
    void Compare(const std::vector<boost::shared_ptr<Job>> &found, bool withCounts) const;

private:
    // Of a job that it follows.
    struct Mirror
    {
        bool isFollowed = false; // It was answered so,
        bool isWhole = false;    // and then the job was sent.
        std::map<String, String> values;
    };

    void OnSent(const Outgoing &message) override;
    void OnTaken(std::uint64_t serial) override;
    void OnAnswer(std::uint64_t serial, const String &reason);
    void OnNews(const Message &message);
    void OnRemoved(const UID &job);
    void Deliver(std::uint64_t serial, const String &reason);

    std::uint64_t Ask(boost::shared_ptr<Message> message);
    void AskFor(Ledger::Wish wish, boost::shared_ptr<Message> message);
    void Submit();
    void SendSubmit(const boost::shared_ptr<Job> &job);
    void Follow(const UID &job);
    void Change(const UID &job, const std::vector<Ledger::Setting> &settings);
    void Remove();
    void Look(const UID &job);
    std::vector<Ledger::Setting> SomeSettings();
    String SomeRange();
    String SomeOrder();
    String SomeJobs();

    World m_world;
    std::string m_name;
    const std::shared_ptr<const master::Identity> m_who; // Shared with the door.
    bool m_isCalm = false;
    SimulatedDoor *m_door = nullptr;
    ClientNumber m_number = 0;
    std::uint64_t m_serial = 0;
    std::shared_ptr<bool> m_isConnected;          // Shared with what the agenda holds.
    std::map<std::uint64_t, WishNumber> m_wishes; // Of this connection.
    std::map<std::uint64_t, UID> m_follows;       // The same.
    std::map<UID, Mirror> m_mirrors;
    std::map<UID, boost::shared_ptr<Job>> m_openSubmits; // Not answered, as far as it has read.
    std::vector<UID> m_jobs;                             // Its own, as far as it has read.
    int m_notes = 0;
};

} // namespace simulation
