#pragma once

#include <chrono>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ostrel/Path.h"
#include "ostrel/UID.h"

namespace master
{

using ostrel::Path;
using ostrel::String;
using ostrel::UID;

/// What an element has left behind.
struct ElementResult
{
    unsigned element = 0;
    String node;
    std::string report;    ///< The last one of `keeper/Protocol.h`; may be empty.
    bool wasAsked = false; ///< Somebody outside wanted it to end.
    std::optional<std::chrono::milliseconds> took{}; ///< By the clock of its node.
};

/// The folders of the arrays (`keeper/ArrayFolder.h`), where the nodes see them, too. What it does
/// may take as long as that share likes: for threads other than the loop's.
class ArrayFolders
{
public:
    ArrayFolders(Path folder, std::chrono::seconds lease)
        : m_folder(std::move(folder)), m_lease(lease)
    {
    }

    Path FolderOf(const UID &batch) const;

    /// Elements with their requests, and other folders that they need.
    struct Contents
    {
        std::vector<std::pair<unsigned, std::string>> requests;
        std::set<Path> folders;
    };
    /// Makes the folder of an array. False, with the reason, where that cannot be; then nothing is
    /// left of it.
    bool Write(const UID &batch, const Contents &contents, String *reason) const;

    /// All that are there but for those in `known`.
    std::vector<ElementResult> ReadResults(const UID &batch, const std::set<unsigned> &known) const;
    std::optional<ElementResult> ReadResult(const UID &batch, unsigned element) const;

    /// Sees that nobody begins the element any more.
    enum class Barring
    {
        Free,  ///< Nobody ever had it.
        Taken, ///< Somebody had, and ends within the lease if it still runs; not barred for
               ///< `IfFree`.
        Failed,
    };
    Barring Bar(const UID &batch, unsigned element) const;
    Barring BarIfFree(const UID &batch, unsigned element) const;

    /// From now on nobody begins any of it; who runs one ends within the lease.
    void Remove(const UID &batch) const;
    std::vector<UID> List() const;

private:
    Path m_folder;
    std::chrono::seconds m_lease;
};

/// What the cluster is given to run an array: a script that becomes `program` for one element.
std::string ArrayScript(const Path &program, const Path &folder);

} // namespace master
