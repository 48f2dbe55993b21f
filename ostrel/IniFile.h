#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "ostrel/String.h"

namespace ostrel
{

/// The texts of a true and a false setting: "Yes" and "No".
extern const String k_Yes;
extern const String k_No;

/// Sections of keys and values, all texts, as an ini file has them.
///
/// Order, comments and unknown keys of what was read are kept when it is written out; blank lines
/// are set anew, a section that comes twice becomes one, and of a key that comes twice the last
/// value counts (a comment above the repetition goes). Section and key names do not mind the case
/// of ASCII letters.
///
/// Values are texts of one line in UTF-8: a newline or a zero byte is stored as a blank, a byte
/// that is no UTF-8 as "?". Every other text comes back from a file as it was set. To that end a
/// value that begins or ends with a blank, or stands in double quotes itself, is written in double
/// quotes; one pair around a whole value is taken off when it is read. There are no escapes and no
/// comments behind a value: `key = "a";b` is the text `"a";b`.
///
/// Not thread-safe.
class IniFile
{
public:
    IniFile();
    virtual ~IniFile();
    IniFile(const IniFile &) = delete;
    IniFile &operator=(const IniFile &) = delete;

    /// Replaces everything by what `text` says. False, with line number and reason in `*error`,
    /// for a line that is neither section, key = value, comment nor blank, and for text that is
    /// not UTF-8 or holds a zero byte; nothing is changed then. Keys may stand before the first
    /// section: they are those of section "".
    bool Parse(std::string_view text, String *error);

    /// The whole as text, in the order it was read or set.
    String ToText() const;

    bool HasSection(const String &section) const;
    std::vector<String> Sections() const;
    std::vector<String> Keys(const String &section) const;

    /// The text of a key; nothing where it is not there.
    std::optional<String> FindText(const String &section, const String &key) const;

    /// The text of a key that is on loan (see `BorrowSection`), or the one that stands here, which
    /// the loan may hide. For keys that mean something only together with others of their origin.
    std::optional<String> FindBorrowedText(const String &section, const String &key) const;
    std::optional<String> FindOwnText(const String &section, const String &key) const;

    /// The value of a key, or `defaultValue` where it is not there. A text that does not convert
    /// whole (blanks around it aside) gives the default too, with one warning per key for as long
    /// as this object lives.
    /// T is bool (yes/no, true/false, on/off, 1/0 in any case), int, unsigned, float or String. A
    /// number out of T's range, a negative text for unsigned, and infinite or not-a-number texts
    /// do not convert.
    template <typename T>
    T GetValue(const String &section, const String &key, T defaultValue) const;

    /// Makes `section`, where it is missing, and selects it for the `SetValue` calls that follow.
    /// A name that cannot stand in brackets (empty, with "]" or a control character, blanks at its
    /// ends) is refused with an error line, and so are the `SetValue` calls that follow.
    void InsertSection(const String &section);

    /// Sets a key of the selected section, at first section "". A key that cannot begin a line
    /// (empty, with "=" or a control character, blanks at its ends, a leading "[", ";" or "#") is
    /// refused with an error line. Setting the value that is there is no change.
    void SetValue(const String &key, const String &value);

    /// Takes all keys of a section from another file, over those of the same name here. False,
    /// and nothing changed, where `from` has no such section.
    virtual bool CopySection(const IniFile &from, const String &section);

protected:
    /// The same, but on loan: what is taken is read here, over what stands here, and is not in
    /// `ToText`. It stays through `Parse`. Setting a key to another value ends its loan.
    bool BorrowSection(const IniFile &from, const String &section);

    /// Called after each change.
    virtual void Changed() {}

private:
    struct Content;
    std::unique_ptr<Content> m_content;
    std::optional<String> m_selected = String(); ///< Nothing after a section that was refused.
};

} // namespace ostrel
