#include "master/door/Tokens.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <memory>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include "master/door/PrivateFile.h"
#include "ostrel/Exception.h"
#include "ostrel/File.h"
#include "ostrel/Time.h"

namespace master
{

using nlohmann::json;
using ostrel::Exception;

namespace
{

constexpr std::size_t k_token_bytes = 32;
constexpr std::size_t k_id_bytes = 4;
constexpr std::size_t k_most_name_bytes = 64;
constexpr std::size_t k_most_file_bytes = 16u << 20;
constexpr mode_t k_owner_alone = 0600;

String Hex(std::span<const unsigned char> bytes)
{
    static const char k_hex_digits[] = "0123456789abcdef";
    String text;
    for (const unsigned char byte : bytes)
        text += {k_hex_digits[byte >> 4], k_hex_digits[byte & 15]};
    return text;
}

template <std::size_t size> String RandomHex()
{
    std::array<unsigned char, size> bytes{};
    if (RAND_bytes(bytes.data(), int(bytes.size())) != 1)
        throw new Exception("the system gives no random numbers");
    return Hex(bytes);
}

TokenRecord ReadRecord(const json &entry)
{
    TokenRecord record;
    record.id = entry.at("id").get<std::string>();
    record.user = entry.at("user").get<std::string>();
    record.hash = entry.at("sha256").get<std::string>();
    record.created = entry.at("created").get<std::string>();
    const String role = entry.at("role").get<std::string>();
    const std::optional<Role> known = ParseRole(role);
    if (!known)
        throw new Exception("\"" + role + "\" is no role");
    record.role = *known;
    if (const String reason = CheckUserName(record.user); !reason.empty())
        throw new Exception(reason);
    if (record.hash.size() != HashOf({}).size())
        throw new Exception("\"sha256\" of token " + record.id + " is no SHA-256");
    return record;
}

std::vector<TokenRecord> ReadRecords(const String &text)
{
    std::vector<TokenRecord> tokens;
    const json content = json::parse(text);
    for (const json &entry : content.at("tokens"))
        tokens.push_back(ReadRecord(entry));
    return tokens;
}

} // namespace

NewToken MakeToken(const String &user, Role role)
{
    NewToken made;
    made.token = "corvan-" + RandomHex<k_token_bytes>();
    made.record.id = RandomHex<k_id_bytes>();
    made.record.user = user;
    made.record.role = role;
    made.record.hash = HashOf(made.token);
    made.record.created = ostrel::Time::Now().Format("%Y-%m-%dT%H:%M:%SZ", false, true);
    return made;
}

String CheckUserName(const String &user)
{
    const auto isUsual = [](unsigned char c)
    { return std::isalnum(c) || c == '.' || c == '_' || c == '-' || c == '@'; };
    if (user.empty() || user.size() > k_most_name_bytes || user[0] == '-' ||
        !std::ranges::all_of(user, isUsual))
        return "a user's name is 1 to 64 letters, digits and \"._-@\", not \"-\" first";
    return {};
}

String HashOf(const String &token)
{
    std::array<unsigned char, 32> hash{};
    unsigned size = 0;
    if (EVP_Digest(token.data(), token.size(), hash.data(), &size, EVP_sha256(), nullptr) != 1)
        throw new Exception("SHA-256 cannot be had");
    return Hex(hash);
}

const TokenRecord *FindToken(std::span<const TokenRecord> tokens, const String &token)
{
    const String hash = HashOf(token);
    const TokenRecord *found = nullptr;
    for (const TokenRecord &record : tokens)
        if (record.hash.size() == hash.size() &&
            CRYPTO_memcmp(record.hash.data(), hash.data(), hash.size()) == 0)
            found = &record;
    return found;
}

Path TokensFileIn(const Path &data)
{
    return data / "tokens.json";
}

std::vector<TokenRecord> LoadTokens(const Path &file)
{
    struct stat status
    {
    };
    if (::stat(file.Text().c_str(), &status) != 0 && errno == ENOENT)
        return {};
    RequirePrivate(file, "tokens file");
    const String text = ostrel::File::ReadWhole(file, k_most_file_bytes);
    try
    {
        return ReadRecords(text);
    }
    catch (Exception *raw)
    {
        const std::unique_ptr<Exception> error(raw);
        throw new Exception("cannot read tokens file " + file.Text() + ": " + error->Text());
    }
    catch (const json::exception &error)
    {
        throw new Exception("cannot read tokens file " + file.Text() + ": " + error.what());
    }
}

void SaveTokens(const Path &file, std::span<const TokenRecord> tokens)
{
    json content;
    content["tokens"] = json::array();
    for (const TokenRecord &record : tokens)
        content["tokens"].push_back({{"id", std::string(record.id)},
                                     {"user", std::string(record.user)},
                                     {"role", RoleName(record.role)},
                                     {"sha256", std::string(record.hash)},
                                     {"created", std::string(record.created)}});
    WriteFileFor(file, content.dump(2) + "\n", k_owner_alone);
}

} // namespace master
