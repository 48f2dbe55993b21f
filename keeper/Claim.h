#pragma once

#include <string>

namespace keeper
{

/// A file by which one of several, on any machines that see it, has something to itself; see
/// `ArrayFolder.h`. It keeps the file open, and leaves it where it is.
class Claim
{
public:
    enum class Outcome
    {
        Won,      ///< Nobody had it.
        TookOver, ///< Somebody else had it.
        Barred,   ///< The Master has it.
        Failed,   ///< The disk refuses.
    };

    explicit Claim(std::string file) : m_file(std::move(file)) {}
    ~Claim();
    Claim(const Claim &) = delete;
    Claim &operator=(const Claim &) = delete;

    /// Makes the file, which then holds `text`, or puts one in its place. `k_MastersClaim` is never
    /// replaced by another text.
    Outcome Take(const std::string &text);
    /// Makes it only where nobody had it: `TookOver` says that somebody has, and nothing was done.
    Outcome TakeFree(const std::string &text);

    /// False once another has taken its place, or the folder is gone. Where the disk does not tell,
    /// it still is.
    bool IsOurs() const;

private:
    bool Make(const std::string &file, int flags, const std::string &text);

    std::string m_file;
    int m_open = -1;
};

} // namespace keeper
