#pragma once

#include <string>
#include <utility>
#include <vector>

// What the Master and the elements of a job array say to each other, who never meet: by files in a
// folder that both see, the array's own. The Master makes the folder before the array is handed
// over, and removes it when all is over.
//
//   request      what the elements are to run (`WriteArrayFile`)
//   claims/N     who has element N. Whoever makes the file may run it. Whoever puts another in its
//                place takes it over: who had it looks every few seconds, ends what it runs, and
//                leaves no result. One of the Master says that nobody is to run it any more.
//   results/N    how N ended: names and values, each closed by a zero byte. Whole once it is there.
namespace keeper
{

inline constexpr const char *k_ArrayRequest = "request";
inline constexpr const char *k_Claims = "claims";
inline constexpr const char *k_Results = "results";
inline constexpr const char *k_MastersClaim = "master\n"; // What the Master writes into one.

// Names of a result.
inline constexpr const char *k_ResultNode = "node";
inline constexpr const char *k_ResultReport = "report"; // The last one of Protocol.h; may be empty.
inline constexpr const char *k_ResultAsked = "asked";   // 1: somebody outside wanted it to end.
inline constexpr const char *k_ResultMilliseconds = "milliseconds"; // How long it was held.

// Exit status of an element that has run nothing, since it sees no request; as `sh` gives 127 where
// it finds no program.
inline constexpr int k_NoRequest = 91;

/// The requests of an array's elements (Protocol.h), and for how many seconds whoever has an
/// element may go on once another has taken it over.
std::string WriteArrayFile(const std::vector<std::pair<unsigned, std::string>> &requests,
                           unsigned leaseSeconds);

/// Reads the request of one element. False, with the reason, where the file is not there or not
/// whole, or has no such element.
bool ReadArrayFile(const std::string &file, unsigned element, std::string &request,
                   unsigned &leaseSeconds, std::string *reason);

} // namespace keeper
