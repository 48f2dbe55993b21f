#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stop_token>

#include "master/run/CommandRunner.h"
#include "master/run/KeeperProcess.h"
#include "master/run/WorkThread.h"
#include "master/slurm/ArrayBook.h"
#include "master/slurm/ArrayFolders.h"
#include "master/slurm/Cluster.h"
#include "ostrel/LoopThread.h"

namespace master
{

using ostrel::LoopThread;

/// Where and how a Master works with a cluster.
struct SlurmSettings
{
    Path folder;                               ///< On a share that all nodes have at this place.
    Path program;                              ///< `corvan-task`, as the nodes have it.
    std::chrono::milliseconds lookEach{2'000}; ///< At the queue, at least.
    std::chrono::seconds lease{20};            ///< See `keeper/ArrayFolder.h`.
    unsigned mostTasks = 0; ///< With the cluster at a time; 0 for what its limits suggest.
    int niceStep = 100;     ///< See `ArrayBook::Settings`.
    KeeperSettings keeper;
};

/// The folder of one Master on the share: its arrays, and what their commands print.
Path SlurmFolderOf(const Path &folder, const UID &master);

/// Has commands run by a Slurm cluster, as elements of job arrays, each held on its node by a
/// `corvan-task` that asks nothing of the Master (`keeper/ArrayElement.h`).
///
/// What runs outlives this object. Slurm's commands, and all that touches the share, are on threads
/// of its own; what they tell comes to the loop, where `ArrayBook` keeps the record.
class SlurmRunner : public CommandRunner
{
public:
    /// `stop` ends the command of the cluster that runs at the end of this object.
    SlurmRunner(boost::asio::io_context &loop, std::unique_ptr<Cluster> cluster,
                const ClusterLimits &limits, SlurmSettings settings, std::stop_source stop);
    ~SlurmRunner() override;

    void Begin(const UID &master, std::function<void()> isAlone) override;
    int FreeSlots() const override;
    int RoomFor(const UID &job) const override;
    bool Start(const Command &command, RunListener &listener, String *error) override;
    void End(int run) override;

    unsigned BatchSize() const override;
    void Adopt(const EarlierRun &run, RunListener &listener) override;
    void Recorded(int run) override;
    void Withdraw(int run) override;
    void SetJob(const UID &job, bool isHeld, int priority) override;
    std::optional<RunPlace> PlaceOf(int run) const override;
    bool SetNode(const String &node, bool drains, const String &reason, NodeSet done) override;
    bool AskNodes(NodeStates done) override;

private:
    // An array that is to be handed over.
    struct Fresh
    {
        ArrayOrder order;
        ArrayFolders::Contents contents;
    };

    void NoteTooMany(const UID &batch, std::size_t count);
    void Change();
    void CarryOut();
    void HandOver();
    void HandOver(const UID &batch, Fresh fresh);
    void TakeAnswer(const UID &batch, std::size_t count, const ArrayAnswer &answer);
    void LookLater(boost::asio::steady_timer &timer, std::chrono::milliseconds pause,
                   void (SlurmRunner::*look)());
    void LookAtQueue();
    void TakeQueue(const QueueAnswer &answer, std::chrono::milliseconds took);
    void LookAtResults();
    void RemoveUnknown();

    void Bar(const std::vector<ArrayOrders::Element> &elements);
    void Tell(const ArrayOrders &orders);
    void Order(ArrayOrders orders);
    void LookAtFile(const ArrayOrders::Look &look);

    boost::asio::io_context &m_loop;
    const std::unique_ptr<Cluster> m_cluster;
    const ClusterLimits m_limits;
    const SlurmSettings m_settings;
    std::stop_source m_stop;
    LoopThread m_thread;

    UID m_master;
    bool m_hasBegun = false;
    RunListener *m_listener = nullptr;
    std::optional<ArrayBook> m_book;
    std::optional<ArrayFolders> m_folders;
    std::map<UID, Fresh> m_fresh;
    std::vector<UID> m_freshOrder; // Slurm begins first what it was given first.
    bool m_isChanged = false;
    bool m_isQueueGood = true;
    bool m_isSwept = false; // What earlier Masters have left is removed.
    // So many tasks of a job at a time: more were refused then.
    struct Refused
    {
        std::size_t above = 0;
        std::chrono::steady_clock::time_point at;
    };
    std::map<UID, Refused> m_refused;
    boost::asio::steady_timer m_queueTimer;
    boost::asio::steady_timer m_resultTimer;
    std::map<UID, std::set<unsigned>> m_known; // Results that were read; the share's thread's own.

    // The last ones, so that they are joined first; each adds work to those before it alone.
    WorkThread m_commands;
    WorkThread m_share;
    WorkThread m_looks;
};

} // namespace master
