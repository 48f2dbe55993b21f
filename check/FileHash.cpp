#include "check/FileHash.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <memory>
#include <mutex>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <xxhash.h>

#include "ostrel/Descriptor.h"

namespace check
{

namespace
{

/// What is read lies in the processor's cache when it is hashed.
constexpr std::size_t k_piece_bytes = 256u << 10;
/// Where the disk is a network, several answers are waited for at once.
constexpr unsigned k_least_readers = 4;
constexpr std::chrono::milliseconds k_between_words{100};

/// One hash in the making.
class Hasher
{
public:
    explicit Hasher(HashKind kind)
        : m_kind(kind), m_xxh64(XXH64_createState(), XXH64_freeState),
          m_xxh3(XXH3_createState(), XXH3_freeState)
    {
        XXH64_reset(m_xxh64.get(), 0);
        if (kind == HashKind::Xxh3)
            XXH3_64bits_reset(m_xxh3.get());
        else
            XXH3_128bits_reset(m_xxh3.get());
    }

    void Add(const void *bytes, std::size_t count)
    {
        switch (m_kind)
        {
        case HashKind::Xxh64:
            XXH64_update(m_xxh64.get(), bytes, count);
            break;
        case HashKind::Xxh3:
            XXH3_64bits_update(m_xxh3.get(), bytes, count);
            break;
        case HashKind::Xxh128:
            XXH3_128bits_update(m_xxh3.get(), bytes, count);
            break;
        }
    }

    String Digits() const
    {
        if (m_kind == HashKind::Xxh64)
            return fmt::format("{:016x}", XXH64_digest(m_xxh64.get()));
        if (m_kind == HashKind::Xxh3)
            return fmt::format("{:016x}", XXH3_64bits_digest(m_xxh3.get()));
        const XXH128_hash_t hash = XXH3_128bits_digest(m_xxh3.get());
        return fmt::format("{:016x}{:016x}", hash.high64, hash.low64);
    }

private:
    const HashKind m_kind;
    const std::unique_ptr<XXH64_state_t, decltype(&XXH64_freeState)> m_xxh64;
    const std::unique_ptr<XXH3_state_t, decltype(&XXH3_freeState)> m_xxh3;
};

FileHash Trouble(const String &why)
{
    FileHash hash;
    hash.trouble = why;
    return hash;
}

bool IsAsItWas(const struct stat &before, const struct stat &after)
{
    return before.st_size == after.st_size && before.st_mtim.tv_sec == after.st_mtim.tv_sec &&
           before.st_mtim.tv_nsec == after.st_mtim.tv_nsec;
}

FileHash HashOne(const HashWish &wish, std::vector<char> &piece)
{
    // A pipe in place of a frame must not be waited for.
    const ostrel::Descriptor file(
        ::open(wish.path.Text().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat before = {};
    if (file.Number() < 0 || ::fstat(file.Number(), &before) != 0)
        return Trouble(std::strerror(errno));
    if (!S_ISREG(before.st_mode))
        return Trouble("it is no file");
    ::posix_fadvise(file.Number(), 0, 0, POSIX_FADV_SEQUENTIAL);

    Hasher hasher(wish.kind);
    FileHash hash;
    for (;;)
    {
        const ssize_t count = ::read(file.Number(), piece.data(), piece.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return Trouble(std::strerror(errno));
        if (count == 0)
            break;
        hasher.Add(piece.data(), std::size_t(count));
        hash.size += std::uint64_t(count);
    }
    struct stat after = {};
    if (::fstat(file.Number(), &after) != 0)
        return Trouble(std::strerror(errno));
    if (!IsAsItWas(before, after) || hash.size != std::uint64_t(after.st_size))
        return Trouble("it was changed while it was read");
    hash.digits = hasher.Digits();
    hash.modified = ostrel::Time(after.st_mtim);
    return hash;
}

} // namespace

std::vector<FileHash> HashFiles(std::span<const HashWish> files, const HashesDone &done)
{
    std::vector<FileHash> hashes(files.size());
    std::mutex mutex;
    std::condition_variable isOver;
    std::atomic<std::size_t> next = 0;
    std::atomic<std::size_t> ended = 0;
    const auto read = [&]
    {
        std::vector<char> piece(k_piece_bytes);
        for (std::size_t at; (at = next.fetch_add(1)) < files.size();)
        {
            hashes[at] = HashOne(files[at], piece);
            if (ended.fetch_add(1) + 1 == files.size())
            {
                const std::lock_guard lock(mutex);
                isOver.notify_one();
            }
        }
    };
    if (files.empty())
        return hashes;

    const std::size_t readers = std::min<std::size_t>(
        std::max(std::thread::hardware_concurrency(), k_least_readers), files.size());
    std::vector<std::jthread> crew;
    for (std::size_t i = 0; i < readers; ++i)
        crew.emplace_back(read);
    std::unique_lock lock(mutex);
    while (!isOver.wait_for(lock, k_between_words, [&] { return ended == files.size(); }))
    {
        lock.unlock();
        done(ended);
        lock.lock();
    }
    lock.unlock();
    crew.clear(); // Joined here, before the hashes are read.
    return hashes;
}

} // namespace check
