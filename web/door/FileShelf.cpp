#include "web/door/FileShelf.h"

#include <filesystem>

#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"
#include "ostrel/File.h"
#include "ostrel/Log.h"
#include "web/door/Secrets.h"

namespace web
{

using ostrel::_CallEntry;
namespace filesystem = std::filesystem;

namespace
{

constexpr std::size_t k_most_file_bytes = 8u << 20;

const std::map<std::string, const char *> k_types{
    {".css", "text/css; charset=utf-8"},
    {".html", "text/html; charset=utf-8"},
    {".ico", "image/x-icon"},
    {".jpg", "image/jpeg"},
    {".js", "text/javascript; charset=utf-8"},
    {".json", "application/json"},
    {".mjs", "text/javascript; charset=utf-8"},
    {".png", "image/png"},
    {".svg", "image/svg+xml"},
    {".txt", "text/plain; charset=utf-8"},
    {".webmanifest", "application/manifest+json"},
    {".woff2", "font/woff2"},
};

Response FileResponse(const Path &file, const char *type)
{
    Response response;
    response.type = type;
    response.body =
        std::make_shared<const std::string>(ostrel::File::ReadWhole(file, k_most_file_bytes));
    response.headers = {{"ETag", "\"" + DigestText(*response.body).substr(0, 32) + "\""},
                        {"Cache-Control", "no-cache"}};
    return response;
}

} // namespace

FileShelf::FileShelf(std::span<const PublicFiles> files)
{
    _CallEntry call("FileShelf::FileShelf", __FILE__, __LINE__);

    for (const PublicFiles &each : files)
        Add(each);
    const auto index = m_files.find("/index.html");
    if (index != m_files.end())
        m_files.emplace("/", index->second);
}

const Response *FileShelf::Find(const std::string &path) const
{
    _CallEntry call("FileShelf::Find", __FILE__, __LINE__);

    const auto found = m_files.find(path);
    return found == m_files.end() ? nullptr : &found->second;
}

void FileShelf::Add(const PublicFiles &files)
{
    _CallEntry call("FileShelf::Add", __FILE__, __LINE__);

    const filesystem::path source(files.source.Text().c_str());
    std::error_code error;
    if (filesystem::is_regular_file(source, error))
        return AddFile(files.at, source);
    filesystem::recursive_directory_iterator each(source, error);
    for (; !error && each != filesystem::recursive_directory_iterator(); each.increment(error))
        // Links are followed: Debian keeps elsewhere what is shared.
        if (filesystem::is_regular_file(each->path(), error))
            AddFile(files.at + each->path().lexically_relative(source).generic_string(),
                    each->path());
    if (!error)
        return;
    const String reason =
        "cannot read the files of the page in " + files.source.Text() + ": " + error.message();
    if (files.isNeeded)
        throw new ostrel::Exception(reason);
    ostrel::LogWarning(reason);
}

void FileShelf::AddFile(const std::string &at, const filesystem::path &file)
{
    _CallEntry call("FileShelf::AddFile", __FILE__, __LINE__);

    const auto type = k_types.find(file.extension().string());
    if (type != k_types.end())
        m_files.insert_or_assign(at, FileResponse(Path(file.string()), type->second));
}

} // namespace web
