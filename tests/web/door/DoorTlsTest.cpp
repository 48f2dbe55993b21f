#include <arpa/inet.h>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>

#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>

#include "tests/master/TestCertificate.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"
#include "tests/web/door/RunningDoor.h"
#include "web/door/TlsContexts.h"

namespace
{

/// A certificate of this machine in a folder, and a server's settings that name it.
class TlsFolder
{
public:
    TlsFolder()
    {
        Write("key.pem", m_made.key);
        Write("certificate.pem", m_made.certificate);
    }

    web::TlsPair Files() const
    {
        return {m_folder / "certificate.pem", m_folder / "key.pem"};
    }
    web::ServerSettings Settings() const
    {
        web::ServerSettings settings = RunningDoor::PersonalSettings();
        settings.tls = Files();
        return settings;
    }
    void Write(const char *leaf, const std::string &text) const
    {
        const ostrel::Path file = m_folder.MakeFile(leaf, text);
        ::chmod(file.Text().c_str(), 0600);
        // A disk's clock may tick more slowly than a test writes.
        const timespec times[] = {{++m_writes, 0}, {m_writes, 0}};
        ::utimensat(AT_FDCWD, file.Text().c_str(), times, 0);
    }

private:
    TempFolder m_folder;
    const TestCertificate m_made;
    mutable std::time_t m_writes = 0;
};

/// What a server answers in TLS; empty where it does not speak it.
std::string AskInTls(std::uint16_t port, const std::string &request, int version = TLS1_3_VERSION)
{
    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(
        SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
    SSL_CTX_set_max_proto_version(context.get(), version);
    SSL_CTX_set_security_level(context.get(), 0);
    BareHttp client(port);
    const std::unique_ptr<SSL, decltype(&SSL_free)> tls(SSL_new(context.get()), SSL_free);
    SSL_set_fd(tls.get(), client.Number());
    if (SSL_connect(tls.get()) != 1)
        return {};
    SSL_write(tls.get(), request.data(), int(request.size()));
    std::string all;
    char part[4096];
    for (int count = 0; (count = SSL_read(tls.get(), part, sizeof part)) > 0;)
        all.append(part, std::size_t(count));
    // Cut off and ended are two things.
    EXPECT_EQ(SSL_get_error(tls.get(), 0), SSL_ERROR_ZERO_RETURN);
    SSL_shutdown(tls.get());
    return all;
}

TEST(DoorTls, SpeaksIt)
{
    const TlsFolder folder;
    RunningDoor door(folder.Settings());
    EXPECT_EQ(door.On([&] { return door.Door().Origin(); }),
              "https://127.0.0.1:" + std::to_string(door.Port()));
    const std::string close = "Connection: close\r\n";
    const std::string request = door.Get("/api/things/a", RunningDoor::Bearer() + close);
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION})
    {
        const std::string answer = AskInTls(door.Port(), request, version);
        EXPECT_EQ(answer.substr(0, 15), "HTTP/1.1 200 OK") << version;
        EXPECT_TRUE(answer.ends_with("\r\n\r\na||")) << answer;
    }
    EXPECT_EQ(AskInTls(door.Port(), request, TLS1_1_VERSION), "");
    EXPECT_EQ(AskBare(door.Port(), request).status, 0);

    const std::string own = door.Filled("Origin: https://127.0.0.1:{port}\r\n") + close;
    const std::string secret = door.On([&] { return std::string(door.Door().MakeSecret()); });
    const std::string body = "{\"secret\":\"" + secret + "\"}";
    EXPECT_EQ(AskInTls(door.Port(), door.Post("/api/session", body, door.Filled("{own}") + close))
                  .substr(0, 12),
              "HTTP/1.1 403");
    const std::string opened = AskInTls(door.Port(), door.Post("/api/session", body, own));
    EXPECT_NE(opened.find("Set-Cookie: __Host-corvan-" + std::to_string(door.Port()) + "="),
              std::string::npos)
        << opened;
    EXPECT_NE(opened.find("; Path=/; HttpOnly; SameSite=Strict; Secure\r\n"), std::string::npos)
        << opened;
}

TEST(DoorTls, HasATimeForItsGreeting)
{
    const TlsFolder folder;
    web::ServerSettings settings = folder.Settings();
    settings.limits.requestWithin = std::chrono::milliseconds(100);
    RunningDoor door(settings);
    EXPECT_TRUE(BareHttp(door.Port()).IsClosed(std::chrono::seconds(20)));
}

TEST(DoorTls, TakesNoKeyThatOthersMayReadNorOneThatDoesNotFit)
{
    const TlsFolder folder;
    const web::TlsPair files = folder.Files();
    EXPECT_EQ(Thrown([&] { web::TlsContexts contexts(files); }), "(nothing thrown)");
    ::chmod(files.key.Text().c_str(), 0640);
    EXPECT_NE(Thrown([&] { web::TlsContexts contexts(files); }).find("chmod 600"),
              std::string::npos);
    folder.Write("key.pem", TestCertificate().key);
    EXPECT_NE(Thrown([&] { web::TlsContexts contexts(files); }).find("cannot use certificate"),
              std::string::npos);
    folder.Write("key.pem", "");
    EXPECT_NE(Thrown([&] { web::TlsContexts contexts(files); }).find("cannot use certificate"),
              std::string::npos);
}

/// The certificate that whoever connects is shown, as its file has it.
std::string ShownCertificate(std::uint16_t port)
{
    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(
        SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
    const BareHttp client(port);
    const std::unique_ptr<SSL, decltype(&SSL_free)> tls(SSL_new(context.get()), SSL_free);
    SSL_set_fd(tls.get(), client.Number());
    if (SSL_connect(tls.get()) != 1)
        return "(none)";
    const std::unique_ptr<BIO, decltype(&BIO_free_all)> text(BIO_new(BIO_s_mem()), BIO_free_all);
    PEM_write_bio_X509(text.get(), SSL_get0_peer_certificate(tls.get()));
    char *begin = nullptr;
    const long size = BIO_get_mem_data(text.get(), &begin);
    return {begin, std::size_t(size)};
}

TEST(DoorTls, TakesARenewedCertificateAndNoBrokenOne)
{
    const TlsFolder folder;
    RunningDoor door(folder.Settings());
    const auto renew = [&] { door.On([&] { door.Door().RenewCertificate(); }); };
    const std::string first = ShownCertificate(door.Port());
    const TestCertificate second;
    folder.Write("key.pem", second.key);
    folder.Write("certificate.pem", second.certificate);
    EXPECT_EQ(ShownCertificate(door.Port()), first) << "it was looked at just before";
    renew();
    EXPECT_EQ(ShownCertificate(door.Port()), second.certificate);

    const TestCertificate over(-60);
    const struct
    {
        const char *what;
        std::string certificate;
        std::string key;
        int keyMode;
        const char *says;
    } cases[] = {
        {"no key", TestCertificate().certificate, "", 0600, "cannot use certificate"},
        {"another's key", TestCertificate().certificate, TestCertificate().key, 0600,
         "cannot use certificate"},
        {"no certificate", "-----BEGIN", second.key, 0600, "cannot use certificate"},
        {"its time is over", over.certificate, over.key, 0600, "its time is over"},
        {"a key for all", second.certificate, second.key, 0644, "chmod 600"},
    };
    for (const auto &[what, certificate, key, keyMode, says] : cases)
    {
        folder.Write("certificate.pem", certificate);
        folder.Write("key.pem", key);
        ::chmod(folder.Files().key.Text().c_str(), mode_t(keyMode));
        const LogCapture log;
        renew();
        EXPECT_EQ(log.Count(ostrel::k_LogError, says), 1) << what;
        EXPECT_EQ(log.Count(ostrel::k_LogError, "the one before is used on"), 1) << what;
        EXPECT_EQ(ShownCertificate(door.Port()), second.certificate) << what;
    }
}

TEST(DoorTls, SeesByItselfThatACertificateWasRenewed)
{
    const TlsFolder folder;
    web::TlsContexts contexts(folder.Files(), std::chrono::milliseconds(0));
    const auto first = contexts.Current();
    EXPECT_EQ(contexts.Current(), first);

    // Two files are never written at once; what is between is told once.
    const TestCertificate second;
    const LogCapture log;
    folder.Write("certificate.pem", second.certificate);
    EXPECT_EQ(contexts.Current(), first);
    EXPECT_EQ(contexts.Current(), first);
    EXPECT_EQ(log.Count(ostrel::k_LogError, "cannot use certificate"), 1);
    folder.Write("key.pem", second.key);
    const auto renewed = contexts.Current();
    EXPECT_NE(renewed, first);
    EXPECT_EQ(contexts.Current(), renewed);
    EXPECT_EQ(log.Count(ostrel::k_LogStatus, "was read anew"), 1);

    // A mode that is put right is no change of the file.
    ::chmod(folder.Files().key.Text().c_str(), 0644);
    folder.Write("certificate.pem", second.certificate);
    EXPECT_EQ(contexts.Current(), renewed);
    ::chmod(folder.Files().key.Text().c_str(), 0600);
    EXPECT_NE(contexts.Current(), renewed);
}

TEST(Listening, AnswersAtAnAddressOfIPv6)
{
    for (const char *const host : {"::1", "[::1]"})
    {
        web::ServerSettings settings = RunningDoor::PersonalSettings();
        settings.host = host;
        std::unique_ptr<RunningDoor> door;
        if (const std::string reason =
                Thrown([&] { door = std::make_unique<RunningDoor>(settings); });
            !door)
            GTEST_SKIP() << "this machine has no ::1: " << reason;
        const std::string port = ":" + std::to_string(door->Port());
        EXPECT_EQ(door->On([&] { return door->Door().Origin(); }), "http://[::1]" + port);
        const auto ask = [&](const std::string &named, const std::string &fields)
        {
            BareHttp client(door->Port(), "::1");
            client.Send("POST /api/things/a HTTP/1.1\r\nHost: " + named + port + "\r\n" +
                        door->Filled("{json}") + fields + "\r\n{}");
            return client.Receive();
        };
        const std::string known = RunningDoor::Bearer();
        EXPECT_EQ(ask("[::1]", known).status, 200);
        EXPECT_EQ(ask("localhost", known).status, 200);
        EXPECT_EQ(ask("::1", known).status, 421);
        EXPECT_EQ(ask("127.0.0.1", known).status, 421);
        EXPECT_EQ(ask("[::2]", known).status, 421);

        const std::string secret = door->On([&] { return std::string(door->Door().MakeSecret()); });
        BareHttp page(door->Port(), "::1");
        const std::string own = "Host: [::1]" + port + "\r\nOrigin: http://[::1]" + port +
                                "\r\nSec-Fetch-Site: same-origin\r\n";
        page.Send("POST /api/session HTTP/1.1\r\n" + own +
                  "Content-Type: application/json\r\nContent-Length: 77\r\n\r\n{\"secret\":\"" +
                  secret + "\"}");
        const std::string cookie = page.Receive().Field("Set-Cookie");
        page.Send("GET /api/things/a HTTP/1.1\r\n" + own +
                  "Cookie: " + cookie.substr(0, cookie.find(';')) + "\r\n\r\n");
        EXPECT_EQ(page.Receive().status, 200) << cookie;
    }
}

TEST(Listening, IsSafeOrNotAtAll)
{
    const TlsFolder folder;
    const struct
    {
        const char *host;
        bool hasTls;
        std::vector<ostrel::String> names;
        const char *says;
    } cases[] = {
        {"127.0.0.1", false, {}, "(nothing thrown)"},
        {"127.0.0.5", false, {}, "(nothing thrown)"},
        {"localhost", false, {}, "(nothing thrown)"},
        {"0.0.0.0", false, {"farm.example"}, "cannot listen at 0.0.0.0:0: beyond this machine"},
        {"0.0.0.0", true, {}, "cannot listen at 0.0.0.0:0: it needs the names"},
        {"0.0.0.0", true, {"farm.example"}, "(nothing thrown)"},
        {"192.0.2.1", false, {}, "cannot listen at 192.0.2.1:0: beyond this machine"},
        {"192.0.2.1", true, {}, "cannot listen at 192.0.2.1:0: "},
        {"no.such.host.invalid", false, {}, "cannot listen at no.such.host.invalid:0: "},
    };
    for (const auto &[host, hasTls, names, says] : cases)
    {
        web::ServerSettings settings = RunningDoor::PersonalSettings();
        settings.host = host;
        settings.names = names;
        if (hasTls)
            settings.tls = folder.Files();
        EXPECT_EQ(Thrown([&] { RunningDoor door(settings); }).substr(0, std::string(says).size()),
                  says)
            << host;
    }
}

TEST(Listening, DoesNotShareAPort)
{
    RunningDoor door;
    web::ServerSettings settings = RunningDoor::PersonalSettings();
    settings.port = door.Port();
    EXPECT_NE(Thrown([&] { RunningDoor other(settings); }).find("cannot listen at 127.0.0.1:"),
              std::string::npos);
}

TEST(Listening, AnswersToTheNamesThatItWasGivenAlone)
{
    web::ServerSettings settings = RunningDoor::PersonalSettings();
    settings.names = {"farm.example"};
    RunningDoor door(settings);
    const std::string port = ":" + std::to_string(door.Port());
    const auto statusFor = [&](const std::string &host)
    { return AskBare(door.Port(), "GET /api/open HTTP/1.1\r\nHost: " + host + "\r\n\r\n").status; };
    EXPECT_EQ(statusFor("farm.example" + port), 200);
    EXPECT_EQ(statusFor("FARM.example" + port), 200);
    EXPECT_EQ(statusFor("127.0.0.1" + port), 200);
    EXPECT_EQ(statusFor("localhost" + port), 200);
    EXPECT_EQ(statusFor("other.farm.example" + port), 421);
    EXPECT_EQ(statusFor("[::1]" + port), 421);
}

} // namespace
