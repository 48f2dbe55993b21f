#pragma once

#include <optional>
#include <vector>

#include "ostrel/Path.h"

namespace master
{

using ostrel::Path;
using ostrel::String;

/// A path that a command is given, and the folders that it has to lie in.
struct RootedPath
{
    String what; ///< The parameter that it came from: "Scene".
    Path path;   ///< Where it is relative, from the current folder on.
    std::vector<Path> roots;

    friend bool operator==(const RootedPath &, const RootedPath &) = default;
};

/// Where a path leads once every link on the way is followed, the last one too. What is not there
/// (yet) stays as it is written, so a file that is still to be made, also by a link that leads
/// nowhere, is found where it will be. Nothing, with the reason in `*reason`, where a folder cannot
/// be looked into and where links go round.
///
/// Asks the disk for each part of the path, and may wait for it as long as the disk likes.
std::optional<Path> FollowLinks(const Path &path, String *reason);

/// Why the path is not to be used: it leads out of all of its roots, or nobody knows where it
/// leads. Empty where it is fine. The links of the roots are followed too. Waits for the disk.
String CheckRoots(const RootedPath &rooted);

} // namespace master
