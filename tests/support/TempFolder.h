#pragma once

#include <string_view>

#include "ostrel/Path.h"

/// An empty folder of the test's own, removed with all it holds at the end of its life.
class TempFolder
{
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder &) = delete;
    TempFolder &operator=(const TempFolder &) = delete;

    /// Absolute.
    const ostrel::Path &Folder() const
    {
        return m_folder;
    }
    ostrel::Path operator/(const ostrel::String &leaf) const
    {
        return m_folder / leaf;
    }

    /// Makes a file (and the folders it needs) with this content, and says where it is.
    ostrel::Path MakeFile(const ostrel::String &name, std::string_view content = {}) const;
    ostrel::Path MakeFolder(const ostrel::String &name) const;

    /// Names of all that is in the folder, sorted, one a line.
    std::string Listing() const;

private:
    ostrel::Path m_folder;
};

/// The whole file; fails the test, and is empty, when it cannot be read.
std::string ContentOf(const ostrel::Path &file);
