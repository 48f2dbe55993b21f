#pragma once

#include <optional>
#include <string_view>
#include <sys/stat.h>

#include "ostrel/Descriptor.h"
#include "ostrel/Path.h"

namespace ostrel
{

/// A new file beside the one that it is to replace; gone at the end of its life unless it took the
/// other's place.
///
/// Each method throws `Exception *` with the reason where the system refuses; the old file is then
/// as it was.
class FileReplacement
{
public:
    /// `target` is a regular file, or missing; its folder is there. The new file gets the
    /// permissions of the old one, and its owner where the system lets us.
    explicit FileReplacement(const Path &target);
    ~FileReplacement();
    FileReplacement(const FileReplacement &) = delete;
    FileReplacement &operator=(const FileReplacement &) = delete;

    void Write(std::string_view content);

    /// Puts what was written on disk and renames it over the target.
    void TakePlace();

private:
    [[noreturn]] void Refuse(int reason) const;
    std::optional<struct stat> FindOld() const;
    int Create() const;
    void TakeOverPermissions();
    void SyncFolder() const;

    const Path m_target;
    const std::optional<struct stat> m_old; ///< Nothing where the target is missing.
    const Path m_path;
    const Descriptor m_file;
    bool m_isInPlace = false;
};

} // namespace ostrel
