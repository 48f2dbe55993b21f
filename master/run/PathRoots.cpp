#include "master/run/PathRoots.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <deque>
#include <sys/stat.h>
#include <unistd.h>

namespace master
{

namespace
{

// As many as the system itself follows.
constexpr int k_most_links = 40;

std::deque<String> PartsOf(const String &path)
{
    std::deque<String> parts;
    for (std::size_t begin = 0; begin < path.size();)
    {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        if (end > begin)
            parts.push_back(path.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

String ErrorOf(const String &path)
{
    return path + ": " + std::strerror(errno);
}

// The way through the folders, one part after the other.
class Walk
{
public:
    explicit Walk(const String &path) : m_parts(PartsOf(path)) {}

    bool Go(String *reason)
    {
        while (!m_parts.empty())
        {
            const String part = m_parts.front();
            m_parts.pop_front();
            if (part == "..")
                GoUp();
            else if (part != "." && !Enter(part, reason))
                return false;
        }
        return true;
    }

    Path Reached() const
    {
        return m_reached.empty() ? String("/") : m_reached;
    }

private:
    // Also out of a folder that is missing: it may be there when the path is used.
    void GoUp()
    {
        m_reached.resize(m_reached.empty() ? 0 : m_reached.rfind('/'));
        m_isMissing = false;
    }

    bool Enter(const String &part, String *reason)
    {
        const String next = m_reached + "/" + part;
        struct stat found = {};
        if (m_isMissing || ::lstat(next.c_str(), &found) == 0)
            return m_isMissing || !S_ISLNK(found.st_mode) ? Reach(next) : Follow(next, reason);
        m_isMissing = errno == ENOENT;
        if (!m_isMissing)
            *reason = ErrorOf(next);
        return m_isMissing && Reach(next);
    }

    bool Reach(const String &next)
    {
        m_reached = next;
        return true;
    }

    bool Follow(const String &link, String *reason)
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
        const String text(target.data(), std::size_t(bytes));
        if (text.starts_with('/'))
            m_reached.clear();
        const std::deque<String> parts = PartsOf(text);
        m_parts.insert(m_parts.begin(), parts.begin(), parts.end());
        return true;
    }

    std::deque<String> m_parts; // What is still to be gone.
    String m_reached;           // Empty for the root of all.
    bool m_isMissing = false;   // From here on nothing is there.
    int m_links = 0;
};

bool LiesIn(const String &path, const String &folder)
{
    return folder == "/" || path == folder ||
           (path.starts_with(folder) && path[folder.size()] == '/');
}

} // namespace

std::optional<Path> FollowLinks(const Path &path, String *reason)
{
    String full = path.Text();
    if (!full.starts_with('/'))
    {
        std::array<char, PATH_MAX> folder = {};
        if (!::getcwd(folder.data(), folder.size()))
        {
            *reason = ErrorOf("the current folder");
            return std::nullopt;
        }
        full = String(folder.data()) + "/" + full;
    }
    Walk walk(full);
    if (!walk.Go(reason))
        return std::nullopt;
    return walk.Reached();
}

String CheckRoots(const RootedPath &rooted)
{
    const String named = rooted.what + " " + rooted.path.Text();
    String reason;
    const std::optional<Path> end = FollowLinks(rooted.path, &reason);
    if (!end)
        return named + " leads nowhere: " + reason;

    String folders;
    for (const Path &root : rooted.roots)
    {
        const std::optional<Path> folder = FollowLinks(root, &reason);
        if (folder && LiesIn(end->Text(), folder->Text()))
            return {};
        folders += (folders.empty() ? "" : ", ") + root.Text();
    }
    return named + " leads to " + end->Text() + ", and jobs of this type may use only " + folders;
}

} // namespace master
