#include "master/door/Tokens.h"

#include <set>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"

using master::NewToken;
using master::Role;
using master::TokenRecord;
using ostrel::Path;

namespace
{

mode_t TokensMode(const Path &file)
{
    struct stat status
    {
    };
    return ::stat(file.Text().c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

TEST(Tokens, AreFoundByThemselvesAlone)
{
    const NewToken anna = master::MakeToken("anna", Role::Submit);
    const NewToken bert = master::MakeToken("bert", Role::Admin);
    const std::vector<TokenRecord> tokens = {anna.record, bert.record};
    ASSERT_TRUE(master::FindToken(tokens, anna.token));
    EXPECT_EQ(master::FindToken(tokens, anna.token)->user, "anna");
    EXPECT_EQ(master::FindToken(tokens, bert.token)->role, Role::Admin);
    for (const ostrel::String &wrong : {ostrel::String(), anna.record.hash, anna.record.id,
                                        ostrel::String(anna.token.substr(0, anna.token.size() - 1)),
                                        ostrel::String(anna.token + "0")})
        EXPECT_EQ(master::FindToken(tokens, wrong), nullptr) << wrong;
}

TEST(Tokens, AreMadeAnewEachTime)
{
    std::set<std::string> tokens;
    for (int i = 0; i < 100; ++i)
        tokens.insert(master::MakeToken("anna", Role::Watch).token);
    EXPECT_EQ(tokens.size(), 100u);
    // 256 bits in hex.
    EXPECT_EQ(tokens.begin()->size(), std::string("corvan-").size() + 64);
}

TEST(Tokens, AreKeptHashedAndTheirOwnersAlone)
{
    const TempFolder folder;
    const Path file = master::TokensFileIn(folder.Folder());
    EXPECT_TRUE(master::LoadTokens(file).empty());

    const NewToken made = master::MakeToken("anna", Role::EditOwn);
    const TokenRecord records[] = {made.record};
    master::SaveTokens(file, records);
    EXPECT_EQ(TokensMode(file), 0600u);
    EXPECT_EQ(ContentOf(file).find(made.token), std::string::npos);
    EXPECT_EQ(ContentOf(file).find(made.token.substr(7)), std::string::npos);

    const std::vector<TokenRecord> loaded = master::LoadTokens(file);
    ASSERT_EQ(loaded.size(), 1u);
    EXPECT_EQ(loaded[0].id, made.record.id);
    EXPECT_EQ(loaded[0].role, Role::EditOwn);
    EXPECT_EQ(master::FindToken(loaded, made.token), &loaded[0]);
    EXPECT_EQ(folder.Listing(), "tokens.json\n");
}

TEST(Tokens, NameWhatIsWrongWithTheirFile)
{
    const TempFolder folder;
    const Path file = master::TokensFileIn(folder.Folder());
    const std::string hash(64, '0');
    const auto record =
        [&](const std::string &user, const std::string &role, const std::string &sha)
    {
        return R"({"tokens": [{"id": "1", "user": ")" + user + R"(", "role": ")" + role +
               R"(", "sha256": ")" + sha + R"(", "created": ""}]})";
    };
    const struct
    {
        std::string content;
        std::string told;
    } cases[] = {
        {"", "parse error"},
        {"{}", "tokens"},
        {"[1]", "cannot use at()"},
        {record("anna", "king", hash), "\"king\" is no role"},
        {record("-anna", "watch", hash), "a user's name is"},
        {record("anna", "watch", "00"), "\"sha256\" of token 1 is no SHA-256"},
    };
    for (const auto &[content, told] : cases)
    {
        folder.MakeFile("tokens.json", content);
        ::chmod(file.Text().c_str(), 0600);
        const std::string reason = Thrown([&] { master::LoadTokens(file); });
        EXPECT_TRUE(reason.starts_with("cannot read tokens file " + file.Text() + ": ")) << reason;
        EXPECT_NE(reason.find(told), std::string::npos) << reason;
    }

    folder.MakeFile("tokens.json", record("anna", "watch", hash));
    ::chmod(file.Text().c_str(), 0640);
    EXPECT_EQ(Thrown([&] { master::LoadTokens(file); }),
              "cannot use tokens file " + file.Text() +
                  ": it is open to others than its owner (chmod 600)");
}

TEST(Tokens, AreOfUsersWithPlainNames)
{
    for (const char *name : {"anna", "a.b_c-d@e", "9"})
        EXPECT_EQ(master::CheckUserName(name), "") << name;
    for (const std::string &name :
         {std::string(), std::string("-a"), std::string("a b"), std::string("a\n"),
          std::string("\xc3\xa4"), std::string(65, 'a')})
        EXPECT_NE(master::CheckUserName(name), "") << name;
}

TEST(Roles, HaveNames)
{
    for (const Role role : {Role::Watch, Role::Submit, Role::EditOwn, Role::EditAll, Role::Admin})
        EXPECT_EQ(master::ParseRole(master::RoleName(role)), role);
    for (const char *name : {"", "Admin", "edit", "root"})
        EXPECT_EQ(master::ParseRole(name), std::nullopt) << name;
    EXPECT_EQ(master::RoleNames(), "watch, submit, edit-own, edit-all or admin");
}

} // namespace
