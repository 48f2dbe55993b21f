#include "corvan/MasterAddress.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "ostrel/IniFile.h"
#include "tests/support/EnvironmentGuard.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"

using namespace corvan;
using AddressKind = MasterAddress::Kind;

TEST(MasterAddress, ReadsEveryForm)
{
    const String longest = "/" + String(106, 'a');
    const struct
    {
        String text;
        AddressKind kind;
        String target;
    } cases[] = {
        {"unix:/run/m.sock", AddressKind::Socket, "unix:/run/m.sock"},
        {"/run/m.sock", AddressKind::Socket, "unix:/run/m.sock"},
        {"/run/a b%ü#?.sock", AddressKind::Socket, "unix:/run/a%20b%25%C3%BC%23%3F.sock"},
        {longest, AddressKind::Socket, "unix:" + longest},
        {"localhost:5000", AddressKind::Tcp, "localhost:5000"},
        {"farm-1.example.org:65535", AddressKind::Tcp, "farm-1.example.org:65535"},
        {"10.0.0.1:1", AddressKind::Tcp, "10.0.0.1:1"},
        {"[::1]:5000", AddressKind::Tcp, "[::1]:5000"},
        {"[fe80::1.2.3.4]:5000", AddressKind::Tcp, "[fe80::1.2.3.4]:5000"},
    };
    for (const auto &[text, kind, target] : cases)
    {
        String reason;
        const auto address = MasterAddress::Parse(text, &reason);
        ASSERT_TRUE(address) << reason;
        EXPECT_EQ(address->kind, kind) << text;
        EXPECT_EQ(address->Target(), target);
        EXPECT_EQ(*MasterAddress::Parse(address->text, nullptr), *address);
    }
}

TEST(MasterAddress, RefusesWhatIsNoneAndSaysWhy)
{
    const struct
    {
        String text;
        const char *reason;
    } cases[] = {
        {"", "it is neither unix:/PATH nor HOST:PORT"},
        {"localhost", "it is neither unix:/PATH nor HOST:PORT"},
        {"localhost:", "a port is a number from 1 to 65535"},
        {"localhost:0", "a port is a number from 1 to 65535"},
        {"localhost:65536", "a port is a number from 1 to 65535"},
        {"localhost:+5", "a port is a number from 1 to 65535"},
        {"localhost:5 ", "a port is a number from 1 to 65535"},
        {":5000", "the part before the last colon is no host"},
        {"::1:5000", "the part before the last colon is no host"},
        {"[::1:5000", "the part before the last colon is no host"},
        {"[]:5000", "the part before the last colon is no host"},
        {"[::g]:5000", "the part before the last colon is no host"},
        {"a b:5000", "the part before the last colon is no host"},
        {"-a:5000", "the part before the last colon is no host"},
        {"dns:///a:5000", "the part before the last colon is no host"},
        {"unix:", "a socket file needs an absolute path"},
        {"unix:m.sock", "a socket file needs an absolute path"},
        {"/run/", "the path names a folder"},
        {"/run/a\nb", "the path holds control characters"},
        {"/" + String(107, 'a'), "has at most 107 bytes"},
    };
    for (const auto &[text, reason] : cases)
    {
        String given;
        EXPECT_FALSE(MasterAddress::Parse(text, &given)) << text;
        EXPECT_NE(given.find(reason), String::npos) << given;
    }
}

TEST(MasterAddress, IsByDefaultASocketFileInTheRuntimeFolder)
{
    const EnvironmentGuard runtime("XDG_RUNTIME_DIR", "/run/user/77");
    EXPECT_EQ(MasterAddress::Default().text, "unix:/run/user/77/corvan-master.sock");
    EXPECT_EQ(MasterAddress::Default(),
              *MasterAddress::Parse("/run/user/77/corvan-master.sock", nullptr));
}

TEST(TcpSecurity, ReadsTheOptionsAndTheFirstLineOfTheTokenFile)
{
    const TempFolder folder;
    const auto token = folder.MakeFile("token", "se cret\nrest");
    ::chmod(token.Text().c_str(), 0600);
    ostrel::IniFile options;
    String error;
    ASSERT_TRUE(options.Parse(
        "[Master]\nCertificate = /c.pem\nKey = /k.pem\nTokenFile = " + token.Text() + "\n",
        &error));
    const TcpSecurity security = TcpSecurity::Load(options);
    EXPECT_EQ(security.certificate, "/c.pem");
    EXPECT_EQ(security.key, "/k.pem");
    EXPECT_EQ(security.token, "se cret");
    EXPECT_EQ(TcpSecurity::Load(ostrel::IniFile()).token, "");
}

TEST(TcpSecurity, RefusesATokenFileThatIsEmptyOpenToOthersOrNotThere)
{
    const TempFolder folder;
    const auto empty = folder.MakeFile("empty", "\n");
    ::chmod(empty.Text().c_str(), 0600);
    const auto open = folder.MakeFile("open", "token");
    ::chmod(open.Text().c_str(), 0640);
    const struct
    {
        ostrel::Path file;
        const char *reason;
    } cases[] = {
        {empty, "its first line is no token"},
        {open, "it is open to others than its owner"},
        {folder / "none", "none"},
    };
    for (const auto &[file, reason] : cases)
    {
        ostrel::IniFile options;
        String error;
        ASSERT_TRUE(options.Parse("[Master]\nTokenFile = " + file.Text() + "\n", &error));
        const std::string refusal = Thrown([&] { TcpSecurity::Load(options); });
        EXPECT_NE(refusal.find(reason), std::string::npos) << refusal;
        EXPECT_NE(refusal.find(file.Text()), std::string::npos) << refusal;
    }
}
