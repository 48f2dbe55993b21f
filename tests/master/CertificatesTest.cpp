#include "master/door/Certificates.h"

#include <filesystem>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "master/door/MakeTls.h"
#include "master/door/OpenSsl.h"
#include "tests/master/TcpMaster.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Thrown.h"

using master::Certificates;
using master::TlsFiles;
using ostrel::Path;
using ostrel::String;

namespace
{

mode_t TlsMode(const Path &file)
{
    struct stat status
    {
    };
    return ::stat(file.Text().c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

TlsFiles MadeIn(const Path &folder, const std::vector<String> &hosts = {"localhost", "127.0.0.1"})
{
    master::MakeTls(folder, hosts);
    return master::TlsFilesIn(folder);
}

std::shared_ptr<grpc::ChannelCredentials> Trusting(const Path &authority)
{
    grpc::SslCredentialsOptions options;
    options.pem_root_certs = ContentOf(authority);
    return grpc::SslCredentials(options);
}

TEST(MakeTls, MakesWhatAMasterListensWith)
{
    TcpMaster farm;
    const TlsFiles files = MadeIn(farm.folder / "tls");
    EXPECT_EQ(TlsMode(files.key), 0600u);
    EXPECT_EQ(TlsMode(files.authorityKey), 0600u);
    EXPECT_EQ(TlsMode(files.certificate), 0644u);
    EXPECT_EQ(TlsMode(files.authority), 0644u);

    farm.settings.server.security = {files.certificate, files.key, ""};
    const std::string token = farm.AddToken("anna", master::Role::Watch);
    farm.Start();
    for (const char *host : {"127.0.0.1", "localhost"})
    {
        RawClient client(std::string(host) + ":" + std::to_string(farm.Port()),
                         Trusting(files.authority), token);
        EXPECT_TRUE(client.SayHello()) << host;
    }
}

TEST(MakeTls, RenewsTheCertificateByTheAuthorityThatIsThere)
{
    const TempFolder folder;
    EXPECT_TRUE(master::MakeTls(folder.Folder(), std::vector<String>{"a.example"}));
    const TlsFiles files = master::TlsFilesIn(folder.Folder());
    const std::string authority = ContentOf(files.authority);
    const std::string certificate = ContentOf(files.certificate);
    EXPECT_FALSE(master::MakeTls(folder.Folder(), std::vector<String>{"a.example"}));
    EXPECT_EQ(ContentOf(files.authority), authority);
    EXPECT_NE(ContentOf(files.certificate), certificate);
    EXPECT_EQ(Thrown([&] { Certificates::Load(files.certificate, files.key); }),
              "(nothing thrown)");
}

TEST(MakeTls, NamesWhatCannotBe)
{
    const TempFolder folder;
    for (const char *host : {"", "a,DNS:b", "a b", "-a", ".a", "a\n"})
        EXPECT_EQ(Thrown(
                      [&] {
                          MadeIn(folder / "tls", {"fine", host});
                      }),
                  "\"" + std::string(host) + "\" is no host");
    EXPECT_EQ(Thrown([&] { MadeIn(folder / "tls", {}); }), "a certificate needs a host");
    EXPECT_EQ(folder.Listing(), "") << "nothing is left of what was refused";

    const TlsFiles files = MadeIn(folder / "tls");
    const TlsFiles others = MadeIn(folder / "others");
    std::filesystem::copy(others.authority.Text().c_str(), files.authority.Text().c_str(),
                          std::filesystem::copy_options::overwrite_existing);
    EXPECT_EQ(Thrown([&] { MadeIn(folder / "tls"); }),
              "cannot use the authority of " + (folder / "tls").Text() +
                  ": its certificate and its key do not belong together");
}

TEST(Certificates, AreRefusedWhereTheyCannotServe)
{
    const TempFolder folder;
    const TlsFiles files = MadeIn(folder / "tls");
    const TlsFiles others = MadeIn(folder / "others");
    const Path text = folder.MakeFile("text", "no PEM");
    ::chmod(text.Text().c_str(), 0600);
    const auto reason = [](const Path &certificate, const Path &key)
    { return Thrown([&] { Certificates::Load(certificate, key); }); };
    EXPECT_EQ(reason(files.certificate, files.key), "(nothing thrown)");
    EXPECT_EQ(reason(files.certificate, others.key), "cannot use key " + others.key.Text() +
                                                         ": it is not the one of " +
                                                         files.certificate.Text());
    EXPECT_EQ(reason(files.certificate, text),
              "cannot use key " + text.Text() + ": it is no key in PEM form");
    EXPECT_EQ(reason(text, files.key),
              "cannot use certificate " + text.Text() + ": it is no certificate in PEM form");
    for (const mode_t open : {0604, 0640, 0620})
    {
        ::chmod(files.key.Text().c_str(), open);
        EXPECT_EQ(reason(files.certificate, files.key),
                  "cannot use key " + files.key.Text() +
                      ": it is open to others than its owner (chmod 600)");
    }
}

TEST(Certificates, AreRenewedWithoutLosingAClient)
{
    TcpMaster farm;
    const TlsFiles old = MadeIn(farm.folder / "old");
    const TlsFiles fresh = MadeIn(farm.folder / "fresh");
    const TlsFiles used = master::TlsFilesIn(farm.folder.MakeFolder("used"));
    const auto use = [&](const TlsFiles &files)
    {
        for (const auto &[from, to] :
             {std::pair{files.certificate, used.certificate}, {files.key, used.key}})
            std::filesystem::copy(from.Text().c_str(), to.Text().c_str(),
                                  std::filesystem::copy_options::overwrite_existing);
    };
    use(old);
    farm.settings.server.security = {used.certificate, used.key, ""};
    const std::string token = farm.AddToken("anna", master::Role::Watch);
    farm.Start();
    const std::string &address = farm.Running().Address();
    RawClient before(address, Trusting(old.authority), token);
    ASSERT_TRUE(before.SayHello());

    use(fresh);
    farm.Running().OnLoop([&] { farm.Running().Get().Reload(); });
    RawClient after(address, Trusting(fresh.authority), token);
    EXPECT_TRUE(after.SayHello());
    EXPECT_TRUE(before.Ask(GetTasksEnvelope(ostrel::UID(true).ToString()))->has_refused());

    // What cannot be used is not taken.
    const LogCapture log;
    farm.folder.MakeFile("used/certificate.pem", "x");
    farm.Running().OnLoop([&] { farm.Running().Get().Reload(); });
    EXPECT_EQ(log.Count(ostrel::k_LogError, "the certificate from before goes on"), 1);
    RawClient still(address, Trusting(fresh.authority), token);
    EXPECT_TRUE(still.SayHello());
}

} // namespace
