#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "ostrel/Path.h"
#include "ostrel/Time.h"

namespace check
{

using ostrel::Path;
using ostrel::String;

/// The hashes of whole files that are made here. None of them is a protection against somebody who
/// changes a file on purpose.
enum class HashKind
{
    Xxh64, ///< What is written; 16 digits.
    Xxh3,  ///< That of 64 bits; 16 digits.
    Xxh128,
};

/// A file to be read, and how.
struct HashWish
{
    Path path;
    HashKind kind = HashKind::Xxh64;
};

/// What reading a file whole has given.
struct FileHash
{
    String digits;          ///< Hexadecimal, in small letters, the highest first.
    std::uint64_t size = 0; ///< Of what was read, in bytes, with the date that it had then.
    ostrel::Time modified;
    String trouble; ///< Why it could not be read; all else counts only where it is empty.
};

/// Told now and then, on the calling thread, how many files were read.
using HashesDone = std::function<void(std::size_t done)>;

/// Reads files whole, by several threads, each from its begin to its end; one entry a file. What is
/// no regular file, and what changes while it is read, has that as its trouble. Never throws.
std::vector<FileHash> HashFiles(std::span<const HashWish> files, const HashesDone &done);

} // namespace check
