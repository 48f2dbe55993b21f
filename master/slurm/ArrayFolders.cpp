#include "master/slurm/ArrayFolders.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>

#include "corvan/Utf8.h"
#include "keeper/ArrayFolder.h"
#include "keeper/Claim.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Descriptor.h"

namespace master
{

using keeper::Claim;
using ostrel::_CallEntry;

namespace
{

namespace fs = std::filesystem;

bool WriteFile(const Path &file, const std::string &text, String *reason)
{
    const ostrel::Descriptor open(
        ::open(file.Text().c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    std::size_t done = 0;
    while (open.IsOpen() && done < text.size())
    {
        const ssize_t count = ::write(open.Number(), text.data() + done, text.size() - done);
        if (count <= 0)
            break;
        done += std::size_t(count);
    }
    // A full share may say so no earlier.
    if (open.IsOpen() && done == text.size() && ::fsync(open.Number()) == 0)
        return true;
    *reason = "cannot write " + file.Text() + ": " + std::strerror(errno);
    return false;
}

bool MakeFolder(const Path &folder, String *reason)
{
    std::error_code error;
    fs::create_directories(folder.Text().c_str(), error);
    if (error)
        *reason = "cannot make folder " + folder.Text() + ": " + error.message();
    return !error;
}

std::optional<unsigned> ReadElementNumber(const std::string &text)
{
    unsigned number = 0;
    const auto [stopped, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || stopped != text.data() + text.size())
        return std::nullopt;
    return number;
}

// Nothing for a file that is not there, or not of this kind.
std::optional<ElementResult> ReadFile(const fs::path &path, unsigned element)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return std::nullopt;
    const std::string text{std::istreambuf_iterator<char>(file), {}};

    ElementResult result;
    result.element = element;
    bool isWhole = false;
    for (std::size_t begin = 0; begin < text.size();)
    {
        const std::size_t nameEnd = text.find('\0', begin);
        const std::size_t valueEnd =
            nameEnd == std::string::npos ? nameEnd : text.find('\0', nameEnd + 1);
        if (valueEnd == std::string::npos)
            return std::nullopt;
        const std::string name = text.substr(begin, nameEnd - begin);
        const std::string value = text.substr(nameEnd + 1, valueEnd - nameEnd - 1);
        if (name == keeper::k_ResultNode)
            result.node = corvan::MakeUtf8(value);
        else if (name == keeper::k_ResultReport)
            result.report = value;
        else if (unsigned ms = 0;
                 name == keeper::k_ResultMilliseconds &&
                 std::from_chars(value.data(), value.data() + value.size(), ms).ec == std::errc())
            result.took = std::chrono::milliseconds(ms);
        else if (name == keeper::k_ResultAsked)
        {
            isWhole = true;
            result.wasAsked = value == "1";
        }
        begin = valueEnd + 1;
    }
    return isWhole ? std::optional(result) : std::nullopt;
}

} // namespace

Path ArrayFolders::FolderOf(const UID &batch) const
{
    _CallEntry call("ArrayFolders::FolderOf", __FILE__, __LINE__);

    return m_folder / batch.ToString();
}

bool ArrayFolders::Write(const UID &batch, const Contents &contents, String *reason) const
{
    _CallEntry call("ArrayFolders::Write", __FILE__, __LINE__);

    const Path folder = FolderOf(batch);
    bool isMade = MakeFolder(folder / keeper::k_Claims, reason) &&
                  MakeFolder(folder / keeper::k_Results, reason);
    for (const Path &other : contents.folders)
        isMade = isMade && MakeFolder(other, reason);
    // What is asked for tells how the Master's environment looks like.
    isMade =
        isMade && ::chmod(folder.Text().c_str(), 0700) == 0 &&
        WriteFile(folder / keeper::k_ArrayRequest,
                  keeper::WriteArrayFile(contents.requests, unsigned(m_lease.count())), reason);
    if (!isMade)
        Remove(batch);
    return isMade;
}

std::vector<ElementResult> ArrayFolders::ReadResults(const UID &batch,
                                                     const std::set<unsigned> &known) const
{
    _CallEntry call("ArrayFolders::ReadResults", __FILE__, __LINE__);

    std::vector<ElementResult> results;
    const Path folder = FolderOf(batch) / keeper::k_Results;
    std::error_code error;
    for (fs::directory_iterator entry(folder.Text().c_str(), error), end; !error && entry != end;
         entry.increment(error))
        if (const auto element = ReadElementNumber(entry->path().filename().string());
            element && !known.contains(*element))
            if (auto result = ReadFile(entry->path(), *element))
                results.push_back(std::move(*result));
    return results;
}

std::optional<ElementResult> ArrayFolders::ReadResult(const UID &batch, unsigned element) const
{
    _CallEntry call("ArrayFolders::ReadResult", __FILE__, __LINE__);

    const Path file = FolderOf(batch) / keeper::k_Results / std::to_string(element);
    return ReadFile(file.Text().c_str(), element);
}

ArrayFolders::Barring ArrayFolders::Bar(const UID &batch, unsigned element) const
{
    _CallEntry call("ArrayFolders::Bar", __FILE__, __LINE__);

    Claim claim((FolderOf(batch) / keeper::k_Claims / std::to_string(element)).Text());
    switch (claim.Take(keeper::k_MastersClaim))
    {
    case Claim::Outcome::Won:
        return Barring::Free;
    case Claim::Outcome::TookOver:
    case Claim::Outcome::Barred:
        return Barring::Taken;
    case Claim::Outcome::Failed:
        break;
    }
    // Without its folder nobody finds what to run; who had it has lost it.
    return errno == ENOENT ? Barring::Taken : Barring::Failed;
}

ArrayFolders::Barring ArrayFolders::BarIfFree(const UID &batch, unsigned element) const
{
    _CallEntry call("ArrayFolders::BarIfFree", __FILE__, __LINE__);

    Claim claim((FolderOf(batch) / keeper::k_Claims / std::to_string(element)).Text());
    switch (claim.TakeFree(keeper::k_MastersClaim))
    {
    case Claim::Outcome::Won:
        return Barring::Free;
    case Claim::Outcome::TookOver:
    case Claim::Outcome::Barred:
        return Barring::Taken;
    case Claim::Outcome::Failed:
        break;
    }
    return Barring::Failed;
}

// Under another name at once: what it takes to remove thousands of files is nobody's time.
void ArrayFolders::Remove(const UID &batch) const
{
    _CallEntry call("ArrayFolders::Remove", __FILE__, __LINE__);

    std::error_code error;
    const std::string folder = FolderOf(batch).Text();
    const std::string going = folder + ".going";
    fs::rename(folder, going, error);
    fs::remove_all(going, error);
    fs::remove_all(folder, error);
}

std::vector<UID> ArrayFolders::List() const
{
    _CallEntry call("ArrayFolders::List", __FILE__, __LINE__);

    std::vector<UID> batches;
    std::error_code error;
    for (fs::directory_iterator entry(m_folder.Text().c_str(), error), end; !error && entry != end;
         entry.increment(error))
    {
        UID batch;
        if (batch.FromString(entry->path().stem().string()))
            batches.push_back(batch);
    }
    return batches;
}

std::string ArrayScript(const Path &program, const Path &folder)
{
    const auto quoted = [](const std::string &text)
    {
        std::string result = "'";
        for (const char c : text)
            result += c == '\'' ? std::string("'\\''") : std::string(1, c);
        return result + "'";
    };
    return "#!/bin/sh\nexec " + quoted(program.Text()) + " --array " + quoted(folder.Text()) +
           " \"$SLURM_ARRAY_TASK_ID\"\n";
}

} // namespace master
