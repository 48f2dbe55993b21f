#pragma once

#include <optional>
#include <string_view>

#include "master/slurm/Cluster.h"

namespace master
{

// What Slurm's commands print, and what they take. It comes from outside: what is not understood
// is left out or said to be so, and never guessed.

/// "0-3,7" of {0, 1, 2, 3, 7}. The numbers ascend.
std::string WriteElements(const std::vector<unsigned> &elements);

/// Reads "0-3,7", "0-10:2" and what may follow a "%". Nothing for other text, "N/A" included, and
/// for what is cut off ("0-3,...").
std::optional<std::vector<ElementRange>> ReadElements(std::string_view text);

/// Reads "3:04", "2:03:04" and "1-02:03:04". Nothing for other text, as "INVALID".
std::optional<std::chrono::seconds> ReadSpan(std::string_view text);

/// The fields that the queue is asked for.
extern const char *const k_QueueFields;
/// Reads what the queue prints. Lines of jobs that are no arrays, and those that cannot be read,
/// are left out.
std::vector<QueueLine> ReadQueueLines(std::string_view text);

/// Reads "node1|drained|bad memory" lines: names and states, "drained (bad memory)". A machine is
/// there once for each of its partitions.
std::map<String, String> ReadNodeLines(std::string_view text);

/// Reads "Key = value" lines as `scontrol show config` prints them. Keys that are missing leave
/// what is usual.
ClusterLimits ReadConfig(std::string_view text);
/// How many jobs a user may submit who names no account, in what `scontrol -o show assoc_mgr` tells
/// of him: the least of what he, his account and all that it belongs to may; 0 where there is none.
unsigned ReadSubmitLimit(std::string_view text);

/// The number of "1234" or "1234;cluster"; 0 for other text.
std::uint64_t ReadArrayNumber(std::string_view text);

/// What a command says of its trouble, without its own name: all that it calls an error, the first
/// being the most exact, or else its first line.
String WordsOf(std::string_view errors);
/// Whether such words say that there are too many jobs, and not that one is too large.
bool IsSubmitLimit(const String &words);
/// Whether after such words the cluster may have taken what it was given.
bool MayHaveTaken(const String &words);

} // namespace master
