#include "web/pictures/PictureFiles.h"

#include <algorithm>
#include <boost/crc.hpp>
#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <memory>
#include <random>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "decode/PictureWish.h"
#include "ostrel/Attempt.h"
#include "ostrel/Descriptor.h"
#include "ostrel/Folders.h"
#include "ostrel/Log.h"

namespace web
{

using ostrel::Descriptor;

namespace
{

constexpr std::string_view k_mark = "corvan-picture 1";
constexpr std::string_view k_kept_ending = ".picture";
constexpr std::string_view k_new_beginning = ".new-";
constexpr std::size_t k_most_head = 64u << 10;
constexpr std::time_t k_new_seconds = 3600; // After which what was never finished is left behind.
constexpr std::uint64_t k_block_bytes = 512;
constexpr std::size_t k_room_of_small = 4096; // What a small file takes more than it holds.

// "corvan-picture 1 CHECKSUM KEY_BYTES\n", the key, and what is kept.
std::string HeadOf(std::string_view key, std::string_view bytes)
{
    boost::crc_32_type checksum;
    checksum.process_bytes(key.data(), key.size());
    checksum.process_bytes(bytes.data(), bytes.size());
    return fmt::format("{} {:08x} {}\n{}", k_mark, checksum.checksum(), key.size(), key);
}

bool WriteAll(int file, std::string_view bytes)
{
    while (!bytes.empty())
    {
        const ssize_t written = write(file, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        bytes.remove_prefix(std::size_t(written));
    }
    return true;
}

// All that the file holds, of at most so many bytes; nothing where it cannot be read, or is longer.
std::optional<std::string> ReadAll(int file, std::size_t most)
{
    struct stat about = {};
    if (fstat(file, &about) != 0 || !S_ISREG(about.st_mode) || about.st_size < 0 ||
        std::size_t(about.st_size) > most)
        return std::nullopt;
    std::string bytes(std::size_t(about.st_size), '\0');
    std::size_t at = 0;
    while (at < bytes.size())
    {
        const ssize_t size = read(file, bytes.data() + at, bytes.size() - at);
        if (size < 0 && errno == EINTR)
            continue;
        if (size <= 0)
            return std::nullopt;
        at += std::size_t(size);
    }
    return bytes;
}

struct KeptFile
{
    std::string name;
    std::uint64_t bytes = 0;
    timespec used{};
};

bool WasUsedBefore(const KeptFile &a, const KeptFile &b)
{
    return a.used.tv_sec != b.used.tv_sec ? a.used.tv_sec < b.used.tv_sec
                                          : a.used.tv_nsec < b.used.tv_nsec;
}

struct CloseFolder
{
    void operator()(DIR *folder) const
    {
        closedir(folder);
    }
};

// What is kept in a folder; removes what a process has left that ended while it wrote.
std::vector<KeptFile> ListKept(const Path &folder)
{
    std::vector<KeptFile> kept;
    const std::unique_ptr<DIR, CloseFolder> entries(opendir(folder.Text().c_str()));
    while (const dirent *entry = entries ? readdir(entries.get()) : nullptr)
    {
        const std::string_view name = entry->d_name;
        const bool isNew = name.starts_with(k_new_beginning);
        struct stat about = {};
        if ((!isNew && !name.ends_with(k_kept_ending)) ||
            fstatat(dirfd(entries.get()), entry->d_name, &about, AT_SYMLINK_NOFOLLOW) != 0)
            continue; // Not ours, or removed by another process.
        if (isNew && std::time(nullptr) - about.st_mtim.tv_sec > k_new_seconds)
            unlinkat(dirfd(entries.get()), entry->d_name, 0);
        else if (!isNew)
            kept.push_back(
                {std::string(name), std::uint64_t(about.st_blocks) * k_block_bytes, about.st_mtim});
    }
    return kept;
}

} // namespace

PictureFiles::PictureFiles(Path folder, std::uint64_t mostBytes)
    : m_folder(std::move(folder)), m_most(mostBytes)
{
    if (m_most == 0)
        return;
    const auto refused = ostrel::Attempt([this] { ostrel::MakePrivateFolder(m_folder); });
    m_isUsable = !refused;
    if (refused)
        Refused(*refused);
    else
        Trim(m_most);
}

// The name is a hash of the key; whether it is the right one is seen by the key inside.
Path PictureFiles::FileOf(const std::string &key) const
{
    const boost::uuids::name_generator_sha1 name(boost::uuids::ns::oid());
    return m_folder / (boost::uuids::to_string(name(key)) + std::string(k_kept_ending));
}

std::optional<std::string> PictureFiles::Find(const std::string &key)
{
    if (!m_isUsable)
        return std::nullopt;
    const Path path = FileOf(key);
    const Descriptor file(
        open(path.Text().c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!file.IsOpen())
        return std::nullopt;
    std::optional<std::string> bytes =
        ReadAll(file.Number(), decode::k_MostPictureBytes + k_most_head);
    const std::size_t keyEnd = bytes ? bytes->find('\n') + 1 + key.size() : 0;
    if (!bytes || keyEnd > bytes->size() ||
        !bytes->starts_with(HeadOf(key, std::string_view(*bytes).substr(keyEnd))))
    {
        // Damaged, or of another key with the same name: it is made anew in either case.
        unlink(path.Text().c_str());
        return std::nullopt;
    }
    futimens(file.Number(), nullptr); // When it was used: who is removed first is told by that.
    bytes->erase(0, keyEnd);
    return bytes;
}

void PictureFiles::Keep(const std::string &key, std::string_view bytes)
{
    if (!m_isUsable || bytes.size() + key.size() + k_room_of_small > m_most / 16)
        return;
    static const unsigned s_process = std::random_device()();
    const Path path = m_folder / fmt::format("{}{:08x}-{}", k_new_beginning, s_process, m_names++);
    const auto create = [&path] {
        return open(path.Text().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW,
                    0600);
    };
    int created = create();
    // Whoever clears his cache removes the folder, too.
    if (created < 0 && errno == ENOENT &&
        !ostrel::Attempt([this] { ostrel::MakePrivateFolder(m_folder); }))
        created = create();
    const Descriptor file(created);
    struct stat about = {};
    if (!file.IsOpen() || !WriteAll(file.Number(), HeadOf(key, bytes)) ||
        !WriteAll(file.Number(), bytes) || fstat(file.Number(), &about) != 0 ||
        rename(path.Text().c_str(), FileOf(key).Text().c_str()) != 0)
    {
        const int error = errno;
        if (file.IsOpen())
            unlink(path.Text().c_str());
        return Refused(std::strerror(error));
    }
    m_hasComplained = false;
    // A file system that gives out room later tells no blocks yet.
    Count(std::max<std::uint64_t>(std::uint64_t(about.st_blocks) * k_block_bytes,
                                  std::uint64_t(about.st_size)));
}

void PictureFiles::Count(std::uint64_t bytes)
{
    const std::unique_lock lock(m_mutex, std::try_to_lock);
    if (!lock)
        return; // Somebody looks through the folder, and sees it there.
    m_written += bytes;
    if (m_written < m_most / 16)
        return;
    m_written = 0;
    Trim(m_most);
}

// Leaves room for what is written until the next time, by another process as well.
void PictureFiles::Trim(std::uint64_t most)
{
    std::vector<KeptFile> kept = ListKept(m_folder);
    std::uint64_t sum = 0;
    for (const KeptFile &file : kept)
        sum += file.bytes;
    if (sum <= most - most / 8)
        return;
    std::sort(kept.begin(), kept.end(), WasUsedBefore);
    for (const KeptFile &file : kept)
    {
        if (sum <= most - most / 4)
            return;
        unlink((m_folder / file.name).Text().c_str());
        sum -= file.bytes;
    }
}

void PictureFiles::Refused(const String &why)
{
    if (!m_hasComplained.exchange(true))
        ostrel::LogWarning("cannot keep pictures in " + m_folder.Text() + ": " + why);
}

} // namespace web
