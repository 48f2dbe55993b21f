#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string_view>

#include "check/FileHash.h"
#include "ostrel/Path.h"

namespace check
{

/// What a hash list says of one file.
struct SealedFile
{
    HashKind kind = HashKind::Xxh64;
    String digits;                     ///< Hexadecimal, in small letters.
    std::optional<std::uint64_t> size; ///< In bytes; lists may leave it out.
    String modified;                   ///< The file's date, and the hash's, as ISO 8601.
    String hashed;
    /// Why its hash is of no use here; it has none then.
    String trouble;

    bool operator==(const SealedFile &) const = default;
};

/// An ASC Media Hash List, as far as it is of use for frames: the hashes of files by their paths,
/// as the American Society of Cinematographers has published it (XML, version 2.0, namespace
/// "urn:ASC:MHL:v2.0").
struct HashList
{
    String tool; ///< What has written it.
    /// By path, relative to the folder that `FolderOf` gives.
    std::map<String, SealedFile> files;
};

/// Largest list that is read, in bytes, and most elements and attributes in it: as much as lists
/// of a million frames have. What others send takes no more memory than they do.
inline constexpr std::size_t k_MostListBytes = 256u << 20;
inline constexpr std::size_t k_MostListMarks = 16'000'000;

/// What our lists have as their tool.
inline constexpr const char *k_ListTool = "corvan";

/// The folder to which the paths of a list are relative: its own, or the one that has it as a
/// folder "ascmhl", where other tools keep the lists of all generations. Without links.
Path FolderOf(const Path &list);

/// Reads the text of a list. Of a file that has several hashes the one is taken that is quickest to
/// make. Throws `CheckException *`, which names `name` and why, for what is no such list, or not
/// all of it, for another version, and for one with a path that is absolute or leads out of the
/// folder ("..") or with two different hashes of a file.
HashList ParseHashList(std::string_view text, const String &name);

/// The same of a file that is there.
HashList ReadHashList(const Path &file);

/// The same of one that may not be there and is to be added to: empty where it is not. Throws, too,
/// for one that another tool has written, which may say more than is kept here.
HashList ReadOwnHashList(const Path &file);

/// A list as text. Its paths are such as `CanBeListed` says.
String HashListText(const HashList &list);

/// XML holds UTF-8 without control characters alone.
bool CanBeListed(std::string_view path);

/// Adds some files to the list of this name, in place of what it says of them, or makes it. What is
/// there stays there until all of the new list is on disk; who else adds to it meanwhile waits.
/// Throws `CheckException *` where it cannot be read (`ReadOwnHashList`) or written.
void AddToHashList(const Path &file, const std::map<String, SealedFile> &files);

} // namespace check
