#include "keeper/PathRoots.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <deque>
#include <sys/stat.h>
#include <unistd.h>

namespace keeper
{

namespace
{

// As many as the system itself follows.
constexpr int k_most_links = 40;

std::deque<std::string> PartsOf(const std::string &path)
{
    std::deque<std::string> parts;
    for (std::size_t begin = 0; begin < path.size();)
    {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        if (end > begin)
            parts.push_back(path.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

std::string ErrorOf(const std::string &path)
{
    return path + ": " + std::strerror(errno);
}

// The way through the folders, one part after the other.
class Walk
{
public:
    explicit Walk(const std::string &path) : m_parts(PartsOf(path)) {}

    bool Go(std::string *reason)
    {
        while (!m_parts.empty())
        {
            const std::string part = m_parts.front();
            m_parts.pop_front();
            if (part == "..")
                GoUp();
            else if (part != "." && !Enter(part, reason))
                return false;
        }
        return true;
    }

    std::string Reached() const
    {
        return m_reached.empty() ? "/" : m_reached;
    }

private:
    // Also out of a folder that is missing: it may be there when the path is used.
    void GoUp()
    {
        m_reached.resize(m_reached.empty() ? 0 : m_reached.rfind('/'));
        m_isMissing = false;
    }

    bool Enter(const std::string &part, std::string *reason)
    {
        const std::string next = m_reached + "/" + part;
        struct stat found = {};
        if (m_isMissing || ::lstat(next.c_str(), &found) == 0)
            return m_isMissing || !S_ISLNK(found.st_mode) ? Reach(next) : Follow(next, reason);
        m_isMissing = errno == ENOENT;
        if (!m_isMissing)
            *reason = ErrorOf(next);
        return m_isMissing && Reach(next);
    }

    bool Reach(const std::string &next)
    {
        m_reached = next;
        return true;
    }

    bool Follow(const std::string &link, std::string *reason)
    {
        std::array<char, PATH_MAX> target = {};
        const ssize_t bytes = ::readlink(link.c_str(), target.data(), target.size() - 1);
        if (bytes < 0)
        {
            *reason = ErrorOf(link);
            return false;
        }
        if (++m_links > k_most_links)
        {
            *reason = link + ": its links go round";
            return false;
        }
        const std::string text(target.data(), std::size_t(bytes));
        if (text.starts_with('/'))
            m_reached.clear();
        const std::deque<std::string> parts = PartsOf(text);
        m_parts.insert(m_parts.begin(), parts.begin(), parts.end());
        return true;
    }

    std::deque<std::string> m_parts; // What is still to be gone.
    std::string m_reached;           // Empty for the root of all.
    bool m_isMissing = false;        // From here on nothing is there.
    int m_links = 0;
};

bool LiesIn(const std::string &path, const std::string &folder)
{
    return folder == "/" || path == folder ||
           (path.starts_with(folder) && path[folder.size()] == '/');
}

std::string FoldersOf(const std::vector<std::string> &roots)
{
    std::string folders;
    for (const std::string &root : roots)
        folders += (folders.empty() ? "" : ", ") + root;
    return folders;
}

// As if there were no links.
std::string Straighten(const std::string &path)
{
    std::vector<std::string> kept;
    for (const std::string &part : PartsOf(path))
        if (part != ".." && part != ".")
            kept.push_back(part);
        else if (part == ".." && !kept.empty())
            kept.pop_back();
    std::string straight;
    for (const std::string &part : kept)
        straight += "/" + part;
    return straight.empty() ? "/" : straight;
}

bool IsLink(const std::string &file)
{
    struct stat found = {};
    return ::lstat(file.c_str(), &found) == 0 && S_ISLNK(found.st_mode);
}

} // namespace

std::optional<std::string> FollowLinks(const std::string &path, std::string *reason)
{
    Walk walk(path);
    if (!walk.Go(reason))
        return std::nullopt;
    return walk.Reached();
}

Place FindPlace(const RootedPath &rooted, std::string *reason)
{
    const std::string named = rooted.what + " " + rooted.path;
    const std::optional<std::string> end = FollowLinks(rooted.path, reason);
    if (!end)
    {
        *reason = named + " leads nowhere: " + *reason;
        return Place::Unknown;
    }
    std::string unknown;
    for (const std::string &root : rooted.roots)
    {
        const std::optional<std::string> folder = FollowLinks(root, &unknown);
        if (folder && LiesIn(*end, *folder))
            return Place::Within;
    }
    if (!unknown.empty())
    {
        *reason = "cannot tell where " + named + " may lie: " + unknown;
        return Place::Unknown;
    }
    *reason = named + " leads to " + *end + ", and jobs of this type may use only " +
              FoldersOf(rooted.roots);
    return Place::Outside;
}

Place FindPlaceOfAll(const std::string &what, const std::vector<std::string> &files,
                     const std::vector<std::string> &roots, const std::function<bool()> &isOver,
                     std::string *reason)
{
    std::string folderWithin;
    for (const std::string &file : files)
    {
        if (isOver())
        {
            *reason = "it was ended before it began";
            return Place::Unknown;
        }
        const std::string folder = file.substr(0, file.rfind('/') + 1);
        const bool isLink = IsLink(file);
        if (folder == folderWithin && !isLink)
            continue;
        if (const Place place = FindPlace({what, file, roots}, reason); place != Place::Within)
            return place;
        // What a link leads to says nothing of the folder that it is in.
        if (!isLink)
            folderWithin = folder;
    }
    return Place::Within;
}

std::string CheckWritten(const RootedPath &rooted)
{
    if (rooted.roots.empty())
        return {};
    const std::string straight = Straighten(rooted.path);
    for (const std::string &root : rooted.roots)
        if (LiesIn(straight, Straighten(root)))
            return {};
    return rooted.what + " " + rooted.path +
           " lies elsewhere, and jobs of this type may use only " + FoldersOf(rooted.roots);
}

} // namespace keeper
