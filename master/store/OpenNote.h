#pragma once

#include "ostrel/Path.h"

namespace master
{

using ostrel::Path;

/// A note beside a store that is open, for whoever opens it next: a file of the store's name with
/// ".open" behind it, which goes when the store is closed.
///
/// A program that is killed leaves it, and the pages as they were. Where the machine went down
/// under it, a disk that lies about its syncs may have left anything; and one in which damage was
/// found is not to be served again. Loop thread.
class OpenNote
{
public:
    explicit OpenNote(const Path &store);

    /// Whether the store has to be looked through to its end before it is served: the machine went
    /// down since it was opened, damage was found, or the note tells neither.
    bool IsCheckDue() const;

    /// It is open from now on: on disk once this returns. Where the disk refuses, that is logged.
    void WriteOpen() const;
    /// Damage was found in it. `Remove` does nothing any more.
    void WriteDamaged();
    /// It was closed as it should be.
    void Remove() const;

private:
    const Path m_file;
    bool m_isDamaged = false;
};

} // namespace master
