#include "master/program/TokenCommand.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <system_error>
#include <vector>

#include "master/door/Tokens.h"
#include "master/program/MasterOptions.h"
#include "ostrel/Descriptor.h"
#include "ostrel/Folders.h"

namespace master
{

namespace
{

const char *const k_token_usage = "usage: corvan-master token add USER ROLE | list | remove ID";

void RequireCount(const CommandLine &commandLine, int count)
{
    if (commandLine.CountPlain() != count)
        throw new UsageException(k_token_usage);
}

String Plain(const CommandLine &commandLine, int index)
{
    return commandLine.GetArgument(nullptr, index, {});
}

/// Two that write at a time would lose one of the tokens. No file is made for it, which an
/// administrator would leave behind as his own.
class TokensLock
{
public:
    explicit TokensLock(const Path &data) : m_folder(Open(data))
    {
        if (!m_folder.IsOpen() || ::flock(m_folder.Number(), LOCK_EX) != 0)
            throw new ostrel::Exception("cannot lock folder " + data.Text() + ": " +
                                        std::system_category().message(errno));
    }

private:
    static int Open(const Path &data)
    {
        if (!std::filesystem::is_directory(data.Text().c_str()))
            ostrel::MakePrivateFolder(data);
        return ::open(data.Text().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    }

    const ostrel::Descriptor m_folder;
};

void AddToken(const Path &data, const String &user, const String &roleName)
{
    if (const String reason = CheckUserName(user); !reason.empty())
        throw new UsageException("token add " + user + ": " + reason);
    const std::optional<Role> role = ParseRole(roleName);
    if (!role)
        throw new UsageException("token add " + user + " " + roleName + ": the role has to be " +
                                 RoleNames());

    const TokensLock lock(data);
    std::vector<TokenRecord> tokens = LoadTokens(TokensFileIn(data));
    const NewToken made = MakeToken(user, *role);
    tokens.push_back(made.record);
    SaveTokens(TokensFileIn(data), tokens);
    std::printf("%s\n", made.token.c_str());
    std::fprintf(stderr, "corvan-master: token %s of user %s, role %s; it is shown this once\n",
                 made.record.id.c_str(), user.c_str(), RoleName(*role));
}

void ListTokens(const Path &data)
{
    std::printf("%-8s  %-8s  %-20s  %s\n", "ID", "ROLE", "CREATED", "USER");
    for (const TokenRecord &record : LoadTokens(TokensFileIn(data)))
        std::printf("%-8s  %-8s  %-20s  %s\n", record.id.c_str(), RoleName(record.role),
                    record.created.c_str(), record.user.c_str());
}

void RemoveToken(const Path &data, const String &id)
{
    const TokensLock lock(data);
    std::vector<TokenRecord> tokens = LoadTokens(TokensFileIn(data));
    if (std::erase_if(tokens, [&](const TokenRecord &record) { return record.id == id; }) == 0)
        throw new ostrel::Exception("there is no token " + id + " in " + data.Text());
    SaveTokens(TokensFileIn(data), tokens);
}

} // namespace

void RunTokenCommand(const CommandLine &commandLine)
{
    const Path data = ReadDataFolder(commandLine);
    const String verb = Plain(commandLine, 1);
    if (verb == "add")
    {
        RequireCount(commandLine, 4);
        AddToken(data, Plain(commandLine, 2), Plain(commandLine, 3));
    }
    else if (verb == "list")
    {
        RequireCount(commandLine, 2);
        ListTokens(data);
    }
    else if (verb == "remove")
    {
        RequireCount(commandLine, 3);
        RemoveToken(data, Plain(commandLine, 2));
    }
    else
        throw new UsageException(k_token_usage);
}

} // namespace master
