#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace keeper
{

// Where the paths of a job may lie. What a path says is looked at where the job is given, where it
// leads right before the command begins, as the user that the command runs as. Both are here, so
// that a folder is counted as within another by one rule.

/// A path that a command is given, and the folders that it has to lie in.
struct RootedPath
{
    std::string what; ///< The parameter that it came from: "Scene".
    std::string path; ///< For the functions here a full one.
    std::vector<std::string> roots;

    friend bool operator==(const RootedPath &, const RootedPath &) = default;
};

/// Where a path leads once every link on the way is followed, the last one too. What is not there
/// (yet) stays as it is written, so a file that is still to be made, also by a link that leads
/// nowhere, is found where it will be. Nothing, with the reason in `*reason`, where a folder cannot
/// be looked into and where links go round.
///
/// Asks the disk for each part of the path, and may wait for it as long as the disk likes.
std::optional<std::string> FollowLinks(const std::string &path, std::string *reason);

/// Where a path was found to lie.
enum class Place
{
    Within,
    Outside,
    Unknown, ///< The disk does not tell.
};

/// Whether a path leads into one of its roots, whose links are followed too; where it does not, why
/// it is not to be used. Waits for the disk.
Place FindPlace(const RootedPath &rooted, std::string *reason);

/// The same for many files of one parameter, those of a folder one after the other. Gives up where
/// `isOver` says that there is no need any more.
Place FindPlaceOfAll(const std::string &what, const std::vector<std::string> &files,
                     const std::vector<std::string> &roots, const std::function<bool()> &isOver,
                     std::string *reason);

/// Why a path is not to be used as it is written, without a look at the disk: it does not lie in
/// any of its roots. Empty where it does, also where none are given.
std::string CheckWritten(const RootedPath &rooted);

} // namespace keeper
