#pragma once

#include <mutex>

#include "ostrel/IniFile.h"
#include "ostrel/Path.h"

namespace ostrel
{

/// An ini file with a place on disk: a program's options.
///
/// `ReadIn` takes what is there, `WriteOut` replaces the file whole or leaves it alone. Changes
/// are grouped in a batch, which writes once at its outermost end.
class OptionsFile : public IniFile
{
public:
    /// `searchFolders`: a file that is not where its name says, or whose name is a leaf alone, is
    /// looked for by its leaf in `File::s_AltPaths`, a leaf alone there only. It is still written
    /// to where its name says.
    explicit OptionsFile(bool searchFolders);

    void SetFilename(const Path &filename);
    /// From now on the file is where its name says and nowhere else.
    void ForgetFolders()
    {
        m_searchFolders = false;
    }
    const Path &Filename() const
    {
        return m_filename;
    }

    /// Reads the file. A missing one is an empty one, and true. False, after an error line that
    /// names file, line and reason, when it cannot be read or parsed: the options are then empty,
    /// and the first `WriteOut` keeps the broken file beside the new one (".broken" added, with a
    /// number where that is taken).
    bool ReadIn();

    /// Writes the whole file: a new one beside the old, synced and renamed over it. Where somebody
    /// else (another window, an editor) has written it since, what changed here is put into theirs,
    /// and theirs is what these options hold from then on. False after an error line that names
    /// file and reason; the old file is then whole.
    bool WriteOut();

    /// What is copied from another file is used here and never written out: the file keeps what it
    /// has of its own. Setting a key to another value makes it this file's own.
    bool CopySection(const IniFile &from, const String &section) override;

    /// Opens and closes a batch; they nest. The outermost `EndUpdate` writes the file out.
    void BeginUpdate();
    void EndUpdate();
    bool InUpdate() const
    {
        return m_nesting > 0;
    }

    /// Whether a change outside a batch is written out at once. Off at first.
    bool WriteOnChange() const
    {
        return m_writeOnChange;
    }
    void SetWriteOnChange(bool on)
    {
        m_writeOnChange = on;
    }

    /// Held while a change is made that other threads must not see half of. May be taken again by
    /// the thread that holds it.
    std::recursive_mutex &WriteMutex()
    {
        return m_writeMutex;
    }

protected:
    void Changed() override;

private:
    Path FindFile() const;
    bool Load(const Path &file, String *reason);
    bool TakeText(std::string_view text, String *reason);
    /// False where the file that is there is broken.
    bool TakeForeignChanges();
    Path KeepBrokenFile();

    bool m_searchFolders;
    Path m_filename;
    String m_known; ///< The file's text when it was last read or written.
    int m_nesting = 0;
    bool m_writeOnChange = false;
    std::recursive_mutex m_writeMutex;
};

/// A batch of option changes, for as long as it lives.
class OptionsBatch
{
public:
    explicit OptionsBatch(OptionsFile &options) : m_options(options)
    {
        m_options.BeginUpdate();
    }
    ~OptionsBatch()
    {
        m_options.EndUpdate();
    }
    OptionsBatch(const OptionsBatch &) = delete;
    OptionsBatch &operator=(const OptionsBatch &) = delete;

private:
    OptionsFile &m_options;
};

} // namespace ostrel
