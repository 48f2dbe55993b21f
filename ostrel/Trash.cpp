#include "ostrel/Trash.h"

#include <boost/filesystem.hpp>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <fmt/format.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

#include "ostrel/Descriptor.h"
#include "ostrel/Folders.h"
#include "ostrel/Time.h"

namespace ostrel
{

namespace
{

// The path as the first part of an address has it: all but the plainest characters escaped.
String PercentEncoded(const String &text)
{
    constexpr std::string_view k_plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                         "0123456789-._~/";
    String encoded;
    for (const char character : text)
    {
        if (k_plain.find(character) != std::string_view::npos)
            encoded += character;
        else
            encoded += fmt::format("%{:02X}", static_cast<unsigned char>(character));
    }
    return encoded;
}

String TrashNote(const Path &path)
{
    const boost::filesystem::path whole = boost::filesystem::absolute(path.Text());
    return "[Trash Info]\nPath=" + PercentEncoded(whole.native()) +
           "\nDeletionDate=" + Time::Now().Format("%Y-%m-%dT%H:%M:%S", true, false) + "\n";
}

bool IsFolder(const Path &path)
{
    struct stat status
    {
    };
    return lstat(path.Text().c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Makes the note under the first name that is free; it reserves that name for the file.
std::optional<String> ReserveName(const Path &notes, const Path &path)
{
    constexpr int k_tries = 10'000;

    const String leaf = path.Leaf(true);
    for (int i = 1; i <= k_tries; ++i)
    {
        const String name = i == 1 ? leaf : String(leaf + "." + std::to_string(i));
        const Path note = notes / (name + ".trashinfo");
        const Descriptor file(
            open(note.Text().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
        if (!file.IsOpen() && errno == EEXIST)
            continue;
        if (!file.IsOpen())
            return std::nullopt;

        const String text = TrashNote(path);
        if (write(file.Number(), text.data(), text.size()) == ssize_t(text.size()))
            return name;
        unlink(note.Text().c_str());
        return std::nullopt;
    }
    return std::nullopt;
}

} // namespace

bool MoveToTrash(const Path &path)
{
    if (IsFolder(path) || path.Leaf(true).empty())
        return false;

    const Path trash = DataFolder() / "Trash";
    const Path files = trash / "files";
    const Path notes = trash / "info";
    boost::system::error_code none; // What is wrong with the folders shows when they are used.
    boost::filesystem::create_directories(files.Text(), none);
    boost::filesystem::create_directories(notes.Text(), none);

    const std::optional<String> name = ReserveName(notes, path);
    if (!name)
        return false;
    if (std::rename(path.Text().c_str(), (files / *name).Text().c_str()) == 0)
        return true;
    unlink((notes / (*name + ".trashinfo")).Text().c_str());
    return false;
}

} // namespace ostrel
