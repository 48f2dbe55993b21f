#include "check/SealedFrames.h"

#include <cassert>
#include <filesystem>
#include <fmt/format.h>

#include "check/CheckException.h"

namespace check
{

namespace
{

std::string IsoText(const ostrel::Time &time)
{
    std::string text;
    time.AppendIso(text);
    return text;
}

void StoreChanged(CheckTable &table, std::size_t row, const String &detail)
{
    table.states[row] = CheckState::Changed;
    String &all = table.details[row];
    all = detail + (all.empty() ? "" : "; ") + all;
}

String SealedAt(const SealedFile &sealed)
{
    return sealed.hashed.empty() ? String("sealed") : "sealed at " + sealed.hashed;
}

/// A file that has to be read before something can be said of it.
struct Read
{
    std::size_t row;
    const SealedFile *sealed; ///< What it is held against; null for nothing.
    Path list{};
    String within{};
};

std::vector<FileHash> HashAll(const CheckTable &table, const std::vector<Read> &reads,
                              const Progress &progress)
{
    std::vector<HashWish> wishes;
    wishes.reserve(reads.size());
    for (const Read &read : reads)
        wishes.push_back(
            {table.PathOf(read.row), read.sealed ? read.sealed->kind : HashKind::Xxh64});
    return HashFiles(wishes, [&](std::size_t done) { progress(done, wishes.size()); });
}

/// Says of a file that was read whether it is what was sealed; false where it is not.
bool IsAsSealed(CheckTable &table, const Read &read, const FileHash &hash)
{
    if (hash.digits == read.sealed->digits)
        return true;
    StoreChanged(table, read.row,
                 fmt::format("its hash is {}, and was {} when it was {}", hash.digits,
                             read.sealed->digits, SealedAt(*read.sealed)));
    return false;
}

} // namespace

std::optional<String> PathsWithin::Of(const Path &file)
{
    if (const Path parent = file.Parent(); !m_within || !(parent == m_parent))
    {
        m_parent = parent;
        m_within.reset();
        std::error_code error;
        const std::string folder =
            std::filesystem::weakly_canonical(std::filesystem::path(parent.Text().c_str()), error)
                .string();
        const std::string &base = m_folder.Text();
        const std::string begin = base.ends_with('/') ? base : base + "/";
        if (error)
            return std::nullopt;
        if (folder == base)
            m_within = "";
        else if (folder.starts_with(begin))
            m_within = folder.substr(begin.size()) + "/";
        else
            return std::nullopt;
    }
    return *m_within + file.Leaf(true);
}

SealedFrames::SealedFrames(const std::vector<Path> &lists)
{
    for (const Path &file : lists)
        m_lists.push_back({file, ReadHashList(file)});
}

void SealedFrames::Check(CheckTable &table, const Progress &progress) const
{
    assert(table.states.size() == table.frames.size() && "the table was judged");
    table.isSealed = true;
    std::vector<PathsWithin> within;
    for (const List &list : m_lists)
        within.emplace_back(FolderOf(list.file));

    std::vector<Read> reads;
    for (std::size_t row = 0; row < table.frames.size(); ++row)
    {
        if (!table.frames[row].exists)
            continue;
        const Path path = table.PathOf(row);
        const SealedFile *sealed = nullptr;
        for (std::size_t at = 0; at < m_lists.size() && !sealed; ++at)
            if (const auto name = within[at].Of(path))
                if (const auto found = m_lists[at].list.files.find(*name);
                    found != m_lists[at].list.files.end())
                    sealed = &found->second;
        if (!sealed)
            table.troubles[row] = "no hash list has it";
        else if (!sealed->trouble.empty())
            table.troubles[row] = sealed->trouble;
        else if (sealed->size && *sealed->size != table.frames[row].size)
            StoreChanged(table, row,
                         fmt::format("it has {} bytes, and had {} when it was {}",
                                     table.frames[row].size, *sealed->size, SealedAt(*sealed)));
        else
            reads.push_back({row, sealed});
    }

    const std::vector<FileHash> hashes = HashAll(table, reads, progress);
    for (std::size_t at = 0; at < reads.size(); ++at)
        if (hashes[at].trouble.empty())
            IsAsSealed(table, reads[at], hashes[at]);
        else
            table.troubles[reads[at].row] = hashes[at].trouble;
}

namespace
{

/// The lists that frames are sealed in, with what they say already.
class Lists
{
public:
    explicit Lists(const SealWish &wish) : m_wish(wish) {}

    struct Place
    {
        Path list;
        String within;
        const SealedFile *sealed = nullptr; ///< Null where it is not.
    };
    /// Where a file is sealed; nothing, with the reason, where it cannot be.
    std::optional<Place> Find(const Path &file, String *reason)
    {
        const Path list = m_wish.to ? *m_wish.to : ListBeside(file);
        Open &open = Need(list);
        const auto name = open.within.Of(file);
        if (!name)
            *reason = "it is not beneath the folder of the hash list " + list.Text();
        else if (!CanBeListed(*name))
            *reason = "a hash list cannot hold its name, which has control characters or is no "
                      "UTF-8";
        if (!reason->empty())
            return std::nullopt;
        const auto found = open.list.files.find(*name);
        return Place{list, *name, found == open.list.files.end() ? nullptr : &found->second};
    }

    std::vector<Path> Names() const
    {
        std::vector<Path> names;
        for (const auto &[name, list] : m_lists)
            names.push_back(name);
        return names;
    }

private:
    struct Open
    {
        explicit Open(const Path &file) : list(ReadOwnHashList(file)), within(FolderOf(file)) {}

        HashList list;
        PathsWithin within;
    };

    // "/renders/beauty/beauty.mhl".
    static Path ListBeside(const Path &file)
    {
        const Path folder = file.Parent();
        return folder / (folder.Leaf(true) + ".mhl");
    }

    Open &Need(const Path &list)
    {
        return m_lists.try_emplace(list, list).first->second;
    }

    const SealWish &m_wish;
    std::map<Path, Open> m_lists;
};

} // namespace

Sealed SealFrames(CheckTable &table, const std::vector<bool> &isWanted, const SealWish &wish,
                  const Progress &progress)
{
    assert(table.states.size() == table.frames.size() && "the table was judged");
    Sealed done;
    Lists lists(wish);
    table.isSealed = true;
    std::vector<Read> reads;
    for (std::size_t row = 0; row < table.frames.size(); ++row)
    {
        if (!isWanted[row] || table.states[row] != CheckState::Ok || table.troubles.contains(row))
            continue;
        const analysis::FrameRecord &frame = table.frames[row];
        String reason;
        const auto place = lists.Find(table.PathOf(row), &reason);
        if (!place)
            table.troubles[row] = reason;
        else if (place->sealed && place->sealed->size == frame.size &&
                 place->sealed->modified == IsoText(frame.modified))
            done.already.insert(frame.frame);
        else
            reads.push_back(
                {row, wish.renews ? nullptr : place->sealed, place->list, place->within});
    }

    std::map<Path, std::map<String, SealedFile>> news;
    const std::vector<FileHash> hashes = HashAll(table, reads, progress);
    const std::string now = IsoText(ostrel::Time::Now());
    for (std::size_t at = 0; at < reads.size(); ++at)
    {
        const Read &read = reads[at];
        const FileHash &hash = hashes[at];
        const int frame = table.frames[read.row].frame;
        if (!hash.trouble.empty())
            table.troubles[read.row] = hash.trouble;
        else if (!read.sealed)
        {
            news[read.list][read.within] = {HashKind::Xxh64,        hash.digits, hash.size,
                                            IsoText(hash.modified), now,         {}};
            done.now.insert(frame);
        }
        else if (IsAsSealed(table, read, hash))
            done.already.insert(frame);
    }
    for (const auto &[list, files] : news)
        AddToHashList(list, files);
    done.lists = lists.Names();
    return done;
}

} // namespace check
