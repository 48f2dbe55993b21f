#include "tests/simulation/AuditTrail.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

namespace simulation
{

using Json = nlohmann::json;
using Outcome = Ledger::Wish::Outcome;

namespace
{

std::string KeyOf(const std::string &user, const std::string &what, const std::string &job,
                  const std::string &name, const std::string &value)
{
    return user + " " + what + " " + job + " " + name + "=" + value;
}

// What becomes of a status is the Master's to decide, and of a job that is handed in or removed it
// tells all parameters.
bool IsValueTold(const std::string &name)
{
    return name != "Status" && name != master::k_AllParameters;
}

std::string KeyOf(const Json &line)
{
    const std::string name = line.value("name", "");
    return KeyOf(line.value("user", ""), line.value("what", ""), line.value("job", ""), name,
                 IsValueTold(name) ? line.value("new", "") : "");
}

// One for each thing that was to be changed, or one for the right to do so.
std::vector<std::string> KeysOf(const Ledger::Wish &wish, bool isRight)
{
    const std::string job = wish.job.ToString();
    if (isRight)
        return {KeyOf(wish.user, wish.what, job, "", "")};
    if (wish.settings.empty())
        return {KeyOf(wish.user, wish.what, job, master::k_AllParameters, "")};
    std::vector<std::string> keys;
    for (const auto &[name, value] : wish.settings)
        keys.push_back(KeyOf(wish.user, wish.what, job, name,
                             IsValueTold(name) ? std::string(value) : std::string()));
    return keys;
}

// A job that is accepted once more, since its first answer was lost, changes nothing.
void Owe(int &count, const Ledger::Wish &wish)
{
    const bool isThere = wish.kind == Ledger::Wish::Kind::Submit && count > 0;
    if (!isThere || wish.outcome == Outcome::MissingRight)
        ++count;
}

} // namespace

AuditTrail::AuditTrail(const ostrel::Path &folder, const FaultyDisk &disk, Chance &chance,
                       Verdict &verdict)
    : m_file((folder / "audit.log").Text()), m_disk(disk), m_chance(chance), m_verdict(verdict)
{
}

AuditTrail::~AuditTrail()
{
    ::unlink(m_file.c_str());
}

// A Master that is dead and does not know writes nothing.
ssize_t AuditTrail::Write(int file, std::string_view text)
{
    if (m_disk.IsStopped())
        return ssize_t(text.size());
    if (m_disk.IsFull())
    {
        errno = ENOSPC;
        return -1;
    }
    return AuditDisk::Write(file, text);
}

ssize_t AuditTrail::Overwrite(int file, std::size_t at, std::string_view text)
{
    if (m_disk.IsStopped())
        return ssize_t(text.size());
    if (at <= m_synced && at + text.size() >= m_lost)
        m_lost = 0;
    return AuditDisk::Overwrite(file, at, text);
}

int AuditTrail::Truncate(int file, std::size_t bytes)
{
    if (m_disk.IsStopped())
        return 0;
    m_synced = std::min(m_synced, bytes);
    m_lost = std::min(m_lost, bytes);
    return AuditDisk::Truncate(file, bytes);
}

int AuditTrail::Sync(int file)
{
    struct stat status
    {
    };
    if (m_disk.IsStopped() || ::fstat(file, &status) != 0)
        return 0;
    if (m_chance.Percent(m_failures))
    {
        m_lost = std::size_t(status.st_size);
        errno = EIO;
        return -1;
    }
    if (m_lost <= m_synced)
        m_synced = std::size_t(status.st_size);
    return 0;
}

void AuditTrail::Crash(FaultyDisk::Restart restart)
{
    std::error_code error;
    const std::size_t size = std::filesystem::file_size(m_file, error);
    if (error || restart == FaultyDisk::Restart::AfterKill)
        return;
    std::size_t kept = std::min(m_synced, size);
    if (restart == FaultyDisk::Restart::AfterMessyPowerCut && m_lost <= m_synced)
        kept += m_chance.Below(unsigned(size - kept) + 1);
    std::filesystem::resize_file(m_file, kept, error);
    m_cuts += kept < size ? 1 : 0;
    m_synced = m_lost = kept;
}

void AuditTrail::Compare(const Ledger &ledger)
{
    Counts done, refused;
    Read(done, refused);
    Counts unexplained = done;
    Counts owed, owedRefusals;
    for (const Ledger::Wish &wish : ledger.Wishes())
    {
        const bool isRight = wish.outcome == Outcome::MissingRight;
        if (wish.outcome == Outcome::Accepted || isRight)
            for (const std::string &key : KeysOf(wish, isRight))
                Owe((isRight ? owedRefusals : owed)[key], wish);
        if (wish.outcome == Outcome::Accepted || wish.outcome == Outcome::Unknown)
            for (const std::string &key : KeysOf(wish, false))
                --unexplained[key];
    }
    for (const Ledger::Wish &wish : ledger.WishesOfMaster())
        for (const std::string &key : KeysOf(wish, false))
            --unexplained[key];
    for (const auto &[key, count] : owed)
        if (done[key] < count)
            m_verdict.Wrong("accepted, and not in the audit log: " + key);
    for (const auto &[key, count] : owedRefusals)
        if (refused[key] < count)
            m_verdict.Wrong("refused for want of a right, and not in the audit log: " + key);
    for (const auto &[key, count] : unexplained)
        if (count > 0)
            m_verdict.Wrong("in the audit log, and nobody did it: " + key);
}

// What stands there as done, and what was refused.
void AuditTrail::Read(Counts &done, Counts &refused)
{
    int torn = 0;
    std::ifstream file(m_file);
    for (std::string text; std::getline(file, text);)
    {
        const Json line = Json::parse(text, nullptr, false);
        if (line.is_object())
            ++(line.contains("refused") ? refused : done)[KeyOf(line)];
        else
            ++torn;
    }
    if (torn > 0)
        m_verdict.Wrong("the audit log has " + std::to_string(torn) + " lines that cannot be read");
}

} // namespace simulation
