#include "ostrel/Path.h"

#include <utility>

#include "ostrel/PathMap.h"

namespace ostrel
{

namespace
{

struct Maps
{
    PathMap files;
    PathMap patterns;
};

// Never destroyed: paths are translated until the very end of the program.
Maps &TheMaps()
{
    static Maps *const maps = new Maps;
    return *maps;
}

const PathMap &MapOf(PathKind kind)
{
    return kind == PathKind::Pattern ? TheMaps().patterns : TheMaps().files;
}

} // namespace

String Path::Leaf(bool withExtension) const
{
    const std::size_t slash = m_text.rfind('/');
    String leaf = slash == String::npos ? m_text : String(m_text.substr(slash + 1));
    if (withExtension)
        return leaf;

    const std::size_t dot = leaf.rfind('.');
    if (dot != String::npos && leaf.find_first_not_of('.') < dot)
        leaf.erase(dot);
    return leaf;
}

Path Path::Parent() const
{
    const std::size_t slash = m_text.rfind('/');
    if (slash == String::npos)
        return {};

    // Of "a//b" the parent is "a"; of "//a" it is the root.
    const std::size_t last = m_text.find_last_not_of('/', slash);
    return last == String::npos ? Path("/") : Path(m_text.substr(0, last + 1));
}

Path Path::operator/(const String &leaf) const
{
    if (m_text.empty())
        return leaf;
    if (m_text.back() == '/')
        return m_text + leaf;
    return m_text + '/' + leaf;
}

Path Path::TranslateToLocal(PathKind kind) const
{
    return MapOf(kind).Translate(m_text);
}

Path Path::TranslateToShared(PathKind kind) const
{
    return MapOf(kind).TranslateBack(m_text);
}

void Path::SetMap(PathMap map)
{
    TheMaps().patterns = map.ForPatterns();
    TheMaps().files = std::move(map);
}

} // namespace ostrel
