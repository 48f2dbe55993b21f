#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ostrel/String.h"

namespace master
{

using ostrel::String;

/// What a cluster says of itself.
struct ClusterLimits
{
    String name;    ///< "ClusterName".
    String version; ///< "SLURM_VERSION".
    /// The indices of an array are below it: "MaxArraySize", or less where the scheduler takes
    /// less.
    unsigned arraySize = 1001;
    unsigned jobs = 10000; ///< Tasks of all users that it keeps, those that are over included.
    unsigned submit = 0;   ///< Tasks of this user that it takes; 0 where it does not tell.
};

/// Numbers of elements, from and to, both among them.
using ElementRange = std::pair<unsigned, unsigned>;

/// One line of the queue: one element of an array, or many that wait alike.
struct QueueLine
{
    std::string name;        ///< Of the job: ours are unique, array numbers are not.
    std::uint64_t array = 0; ///< Number of the array.
    std::vector<ElementRange> elements;
    std::string state; ///< Slurm's own word: "PENDING", "NODE_FAIL".
    std::string node;  ///< Empty while it waits.
    std::string reason;
    int exitStatus = 0; ///< Of what ran, once it is over; -1 where a signal ended it.
    std::optional<std::chrono::seconds> ran{}; ///< Since it was started; nothing where unknown.
};

/// The queue of this user, all of it. Where `isGood` is false nothing is known, and `error` tells
/// why.
struct QueueAnswer
{
    bool isGood = false;
    String error{};
    std::vector<QueueLine> lines{};
};

/// One array to hand over.
struct ArrayOrder
{
    std::string name;
    std::vector<unsigned> elements; ///< Ascending.
    std::string script;
    int nice = 0;
    /// Options and their values: {"partition", "farm"}.
    std::vector<std::pair<std::string, std::string>> options;
};

/// What came of it.
struct ArrayAnswer
{
    enum class Kind
    {
        Taken,
        Refused, ///< It is certain that the cluster has not got it.
        Unknown, ///< It may have got it.
        Busy,    ///< It takes no more for now; it may have got it all the same.
        NotMade, ///< It could not be asked: trouble of our own.
    };
    Kind kind = Kind::Unknown;
    std::uint64_t array = 0;
    String words{}; ///< Why not, in the cluster's own words.
};

/// An array, by the number that it was last seen under and by its name.
struct ArrayName
{
    std::uint64_t array = 0;
    std::string name;
};

/// The cluster's commands. Each waits for its answer, for a bounded time: for threads other than
/// the loop's. The texts that come back are empty where all is well, else they tell why not.
class Cluster
{
public:
    virtual ~Cluster() = default;

    /// Throws `ostrel::Exception *` where there is no cluster, in its own words.
    virtual ClusterLimits ReadLimits() = 0;
    virtual QueueAnswer ReadQueue() = 0;
    virtual ArrayAnswer Submit(const ArrayOrder &order) = 0;
    /// Ends elements of an array; all of them where none are named.
    virtual String Cancel(const ArrayName &array, const std::vector<unsigned> &elements) = 0;
    virtual String Hold(const ArrayName &array) = 0;
    virtual String Release(const ArrayName &array) = 0;
    /// A machine takes no more, or is used again.
    virtual String SetNode(const std::string &node, bool drains, const std::string &reason) = 0;
    /// States of the machines by their names: "idle", "drained (bad memory)". Nothing where there
    /// is no answer.
    virtual std::map<String, String> ReadNodes() = 0;
    virtual String SetNice(const ArrayName &array, int nice) = 0;
};

} // namespace master
