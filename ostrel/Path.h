#pragma once

#include <compare>
#include <functional>

#include "ostrel/String.h"

namespace ostrel
{

class PathMap;

/// What a path's text is: that of a file, or a pattern for many, where a percent sign that stands
/// for itself is doubled.
enum class PathKind
{
    File,
    Pattern,
};

/// The path of a file or folder, as text in UTF-8 (any bytes that the file system takes).
///
/// Paths order by their bytes: "a/10" stands before "a/2". Nothing is normalised, nothing is
/// looked up on disk.
class Path
{
public:
    Path() = default;
    Path(String text) : m_text(std::move(text)) {}
    Path(std::string text) : m_text(std::move(text)) {}
    Path(const char *text) : m_text(text) {}

    const String &Text() const
    {
        return m_text;
    }
    bool IsEmpty() const
    {
        return m_text.empty();
    }

    /// The last component, with its extension or without ("a/b.tar.gz": "b.tar.gz", "b.tar").
    /// A leading dot begins no extension. Empty for a path that ends in a separator.
    String Leaf(bool withExtension) const;

    /// All before the last component, without the separator ("/" stays); empty when there is none.
    Path Parent() const;

    /// This path with `leaf` as a further component.
    Path operator/(const String &leaf) const;

    /// From the farm's shared notation to this machine's, by the map given to `SetMap`. Where no
    /// entry fits, the path stays as it is.
    Path TranslateToLocal(PathKind kind = PathKind::File) const;

    /// The other way round.
    Path TranslateToShared(PathKind kind = PathKind::File) const;

    /// The map that both use from now on. Main thread, at start-up.
    static void SetMap(PathMap map);

    friend bool operator==(const Path &a, const Path &b)
    {
        return a.m_text == b.m_text;
    }
    friend std::strong_ordering operator<=>(const Path &a, const Path &b)
    {
        return a.m_text.compare(b.m_text) <=> 0;
    }

private:
    String m_text;
};

} // namespace ostrel

template <> struct std::hash<ostrel::Path>
{
    std::size_t operator()(const ostrel::Path &path) const noexcept
    {
        return std::hash<std::string>()(path.Text());
    }
};
