#pragma once

#include <filesystem>
#include <map>
#include <span>
#include <string>

#include "web/door/Response.h"
#include "web/door/ServerSettings.h"

namespace web
{

/// The files that anybody may read, in memory, by the path that is asked for. Nothing else of the
/// disk can be: a path is a key here and never a name of a file.
class FileShelf
{
public:
    /// Reads all of them, but those whose kind is none of a page. Throws `ostrel::Exception *`.
    explicit FileShelf(std::span<const PublicFiles> files);

    /// Null where there is none.
    const Response *Find(const std::string &path) const;

private:
    void Add(const PublicFiles &files);
    void AddFile(const std::string &at, const std::filesystem::path &file);

    std::map<std::string, Response> m_files;
};

} // namespace web
