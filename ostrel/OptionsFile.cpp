#include "ostrel/OptionsFile.h"

#include <boost/filesystem.hpp>
#include <cassert>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

#include "ostrel/Exception.h"
#include "ostrel/File.h"
#include "ostrel/Log.h"

namespace ostrel
{

namespace
{

namespace fs = boost::filesystem;

// What cannot be looked at counts as there: reading it then tells why.
bool IsThere(const Path &path)
{
    fs::file_status status;
    boost::system::error_code none;
    status = fs::status(path.Text(), none);
    return status.type() != fs::file_not_found;
}

// Gives the file a second name, or copies it where the file system knows no second names.
bool KeepUnder(const Path &file, const Path &name)
{
    if (linkat(AT_FDCWD, file.Text().c_str(), AT_FDCWD, name.Text().c_str(), AT_SYMLINK_FOLLOW) ==
        0)
        return true;

    boost::system::error_code error;
    fs::copy_file(file.Text(), name.Text(), error);
    if (error)
        File::Delete(name, false);
    return !error;
}

// "Ordwick.ini.broken", "Ordwick.ini.broken.2" and so on, whichever is free.
Path FreeBrokenName(const Path &file)
{
    const String name = file.Text() + ".broken";
    Path candidate = name;
    for (int i = 2; IsThere(candidate); ++i)
        candidate = name + "." + std::to_string(i);
    return candidate;
}

} // namespace

OptionsFile::OptionsFile(bool searchFolders) : m_searchFolders(searchFolders) {}

void OptionsFile::SetFilename(const Path &filename)
{
    const std::lock_guard lock(m_writeMutex);
    m_filename = filename;
    m_isBroken = false;
}

bool OptionsFile::ReadIn()
{
    const std::lock_guard lock(m_writeMutex);
    m_isBroken = false;

    const Path file = FindFile();
    String reason;
    if (Load(file, &reason))
        return true;

    LogError("options: " + reason);
    TakeText("", &reason);
    // One that was found elsewhere is never written to.
    m_isBroken = file == m_filename;
    return false;
}

bool OptionsFile::WriteOut()
{
    const std::lock_guard lock(m_writeMutex);
    Path kept;
    try
    {
        if (m_isBroken)
            kept = KeepBrokenFile();
        File::WriteWhole(m_filename, ToText());
        m_isBroken = false;
        if (!kept.IsEmpty())
            LogWarning("options: the broken file is kept as " + kept.Text());
        return true;
    }
    catch (Exception *raw)
    {
        const std::unique_ptr<Exception> error(raw);
        LogError("options: " + error->Text());
    }
    catch (const std::exception &error)
    {
        LogError("options: cannot write " + m_filename.Text() + ": " + error.what());
    }
    // The broken file is still where it was.
    if (!kept.IsEmpty())
        File::Delete(kept, false);
    return false;
}

void OptionsFile::BeginUpdate()
{
    const std::lock_guard lock(m_writeMutex);
    ++m_nesting;
}

void OptionsFile::EndUpdate()
{
    const std::lock_guard lock(m_writeMutex);
    assert(m_nesting > 0 && "every EndUpdate closes a BeginUpdate");
    if (--m_nesting == 0)
        WriteOut();
}

void OptionsFile::Changed()
{
    if (m_writeOnChange && m_nesting == 0)
        WriteOut();
}

Path OptionsFile::FindFile() const
{
    const bool isLeaf = m_filename.Text().find('/') == String::npos;
    if (!m_searchFolders || (!isLeaf && IsThere(m_filename)))
        return m_filename;
    // A bare leaf is never one of the current folder, which may hold anybody's files.
    return File::FindInAltPaths(m_filename.Leaf(true)).value_or(isLeaf ? Path() : m_filename);
}

bool OptionsFile::Load(const Path &file, String *reason)
{
    if (!IsThere(file))
        return TakeText("", reason);
    try
    {
        if (TakeText(File::ReadWhole(file), reason))
            return true;
        *reason = "cannot use " + file.Text() + ", " + *reason;
    }
    catch (Exception *raw)
    {
        const std::unique_ptr<Exception> error(raw);
        *reason = error->Text();
    }
    return false;
}

bool OptionsFile::TakeText(std::string_view text, String *reason)
{
    // What was just read need not be written.
    ++m_nesting;
    const bool isWell = Parse(text, reason);
    --m_nesting;
    return isWell;
}

Path OptionsFile::KeepBrokenFile()
{
    if (!IsThere(m_filename))
        return {};

    Path name = FreeBrokenName(m_filename);
    if (!KeepUnder(m_filename, name))
        throw new Exception("cannot write " + m_filename.Text() +
                            ": the broken file that is there cannot be kept as " + name.Text());
    return name;
}

} // namespace ostrel
