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
    m_takenBack += text.find("\"taken back\"") != std::string_view::npos ? 1 : 0;
    return AuditDisk::Write(file, text);
}

int AuditTrail::Sync(int file)
{
    struct stat status
    {
    };
    if (!m_disk.IsStopped() && ::fstat(file, &status) == 0)
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
    if (restart == FaultyDisk::Restart::AfterMessyPowerCut)
        kept += m_chance.Below(unsigned(size - kept) + 1);
    std::filesystem::resize_file(m_file, kept, error);
    m_synced = kept;
    ++m_powerCuts;
}

void AuditTrail::Compare(const std::vector<Ledger::Wish> &wishes)
{
    Counts done, refused;
    Read(done, refused);
    Counts unexplained = done;
    Counts owed, owedRefusals;
    for (const Ledger::Wish &wish : wishes)
    {
        const bool isRight = wish.outcome == Outcome::MissingRight;
        if (wish.outcome == Outcome::Accepted || isRight)
            for (const std::string &key : KeysOf(wish, isRight))
                ++(isRight ? owedRefusals : owed)[key];
        if (wish.outcome == Outcome::Accepted || wish.outcome == Outcome::Unknown)
            for (const std::string &key : KeysOf(wish, false))
                --unexplained[key];
    }
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

// What stands there as done and was not taken back, and what was refused.
void AuditTrail::Read(Counts &done, Counts &refused)
{
    std::vector<Json> lines;
    int torn = 0;
    std::ifstream file(m_file);
    for (std::string text; std::getline(file, text);)
    {
        Json line = Json::parse(text, nullptr, false);
        if (!line.is_object())
        {
            ++torn;
            continue;
        }
        const std::size_t taken =
            line.value("what", "") == "taken back" ? line.value("lines", 0u) : 0;
        lines.resize(lines.size() - std::min(taken, lines.size()));
        if (taken == 0)
            lines.push_back(std::move(line));
    }
    if (torn > m_powerCuts)
        m_verdict.Wrong("the audit log has " + std::to_string(torn) + " lines that cannot be read");
    for (const Json &line : lines)
        ++(line.contains("refused") ? refused : done)[KeyOf(line)];
}

} // namespace simulation
