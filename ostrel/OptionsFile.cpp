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
bool MayBeThere(const Path &path)
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
    for (int i = 2; MayBeThere(candidate); ++i)
        candidate = name + "." + std::to_string(i);
    return candidate;
}

// The file's text; nothing where it cannot be read, or is broken.
std::optional<String> ReadInto(IniFile &ini, const Path &file)
{
    try
    {
        String text = File::ReadWhole(file);
        String reason;
        if (ini.Parse(text, &reason))
            return text;
    }
    catch (Exception *raw)
    {
        const std::unique_ptr<Exception> unreadable(raw);
    }
    return std::nullopt;
}

// What `from` says otherwise than `since`, put into a third file.
void PutChanges(const IniFile &from, const IniFile &since, IniFile &into)
{
    for (const String &section : from.Sections())
    {
        if (!since.HasSection(section))
            into.InsertSection(section);
        for (const String &key : from.Keys(section))
        {
            const String value = *from.FindText(section, key);
            if (since.FindText(section, key) == value)
                continue;
            into.InsertSection(section);
            into.SetValue(key, value);
        }
    }
}

} // namespace

OptionsFile::OptionsFile(bool searchFolders) : m_searchFolders(searchFolders) {}

void OptionsFile::SetFilename(const Path &filename)
{
    const std::lock_guard lock(m_writeMutex);
    m_filename = filename;
    m_known.clear();
}

bool OptionsFile::ReadIn()
{
    const std::lock_guard lock(m_writeMutex);
    const Path file = FindFile();
    String reason;
    if (Load(file, &reason))
        return true;

    LogError("options: " + reason);
    TakeText("", &reason);
    return false;
}

bool OptionsFile::WriteOut()
{
    const std::lock_guard lock(m_writeMutex);
    Path kept;
    try
    {
        if (!TakeForeignChanges())
            kept = KeepBrokenFile();
        const String text = ToText();
        File::WriteWhole(m_filename, text);
        m_known = text;
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

bool OptionsFile::CopySection(const IniFile &from, const String &section)
{
    const std::lock_guard lock(m_writeMutex);
    return BorrowSection(from, section);
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
    if (!m_searchFolders || (!isLeaf && MayBeThere(m_filename)))
        return m_filename;
    // A bare leaf is never one of the current folder, which may hold anybody's files.
    return File::FindInAltPaths(m_filename.Leaf(true)).value_or(isLeaf ? Path() : m_filename);
}

bool OptionsFile::Load(const Path &file, String *reason)
{
    if (!MayBeThere(file))
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
    if (isWell)
        m_known.assign(text);
    return isWell;
}

bool OptionsFile::TakeForeignChanges()
{
    if (!MayBeThere(m_filename))
        return true;
    IniFile theirs;
    const std::optional<String> text = ReadInto(theirs, m_filename);
    if (!text)
        return false;
    if (*text == m_known)
        return true;

    // As they stand in files: nothing that is borrowed here.
    IniFile known;
    IniFile ours;
    String reason;
    known.Parse(m_known, &reason);
    ours.Parse(ToText(), &reason);
    PutChanges(ours, known, theirs);
    TakeText(theirs.ToText(), &reason);
    m_known = *text; // What changed here is still to be written.
    return true;
}

Path OptionsFile::KeepBrokenFile()
{
    Path name = FreeBrokenName(m_filename);
    if (!KeepUnder(m_filename, name))
        throw new Exception("cannot write " + m_filename.Text() +
                            ": the broken file that is there cannot be kept as " + name.Text());
    return name;
}

} // namespace ostrel
