#include <arpa/inet.h>
#include <sys/stat.h>

#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include "tests/master/TestCertificate.h"
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
        ::chmod(m_folder.MakeFile(leaf, text).Text().c_str(), 0600);
    }

private:
    TempFolder m_folder;
    const TestCertificate m_made;
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
