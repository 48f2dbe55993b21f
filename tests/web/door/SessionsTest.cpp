#include "web/door/Sessions.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "tests/web/door/RunningDoor.h"

using web::Sessions;

namespace
{

constexpr std::chrono::minutes k_a_while{10};

std::string LogInBody(const std::string &name, const std::string &value)
{
    return nlohmann::json{{name, value}}.dump();
}

web::ServerSettings StudioSettings()
{
    return {};
}

TEST(Sessions, EndWhereNobodyUsesThem)
{
    std::vector<std::string> ended;
    Sessions sessions(10, k_a_while, [&](const auto &caller) { ended.push_back(caller->token); });
    const auto start = Sessions::Clock::now();
    const auto caller = Sessions::MakeCaller("anna's");
    const std::string cookie = sessions.OpenByCookie(caller, start);
    EXPECT_EQ(sessions.FindByCookie(cookie, start + k_a_while / 2), caller);
    EXPECT_EQ(sessions.FindByCookie(cookie, start + k_a_while), caller);
    const auto none = [](const web::Caller &) { return false; };
    sessions.EndIdle(start + k_a_while * 3 / 2, none);
    EXPECT_EQ(ended.size(), 0u);
    EXPECT_EQ(sessions.FindByCookie(cookie, start + 2 * k_a_while), nullptr);
    EXPECT_EQ(ended, std::vector<std::string>{"anna's"});

    const std::string other = sessions.OpenByCookie(Sessions::MakeCaller("ben's"), start);
    sessions.EndIdle(start + k_a_while,
                     [](const web::Caller &each) { return each.token == "ben's"; });
    EXPECT_EQ(ended.size(), 1u);
    sessions.EndIdle(start + 2 * k_a_while, none);
    EXPECT_EQ(ended.back(), "ben's");
    EXPECT_EQ(sessions.FindByCookie(other, start), nullptr);
}

TEST(Sessions, EndTheOneThatWasLeftLongestWhereTheyAreTooMany)
{
    std::vector<std::string> ended;
    Sessions sessions(2, k_a_while, [&](const auto &caller) { ended.push_back(caller->token); });
    const auto start = Sessions::Clock::now();
    const std::string first = sessions.OpenByCookie(Sessions::MakeCaller("1"), start);
    sessions.OpenByToken("token", Sessions::MakeCaller("2"), start + std::chrono::seconds(1));
    EXPECT_NE(sessions.FindByCookie(first, start + std::chrono::seconds(2)), nullptr);
    sessions.OpenByCookie(Sessions::MakeCaller("3"), start + std::chrono::seconds(3));
    EXPECT_EQ(ended, std::vector<std::string>{"2"});
    EXPECT_EQ(sessions.FindByToken("token", start + std::chrono::seconds(3)), nullptr);
}

TEST(Sessions, TakeNoCookieForATokenNorTheOtherWayRound)
{
    Sessions sessions(10, k_a_while, [](const auto &) {});
    const auto now = Sessions::Clock::now();
    const std::string cookie = sessions.OpenByCookie(Sessions::MakeCaller(""), now);
    sessions.OpenByToken("token", Sessions::MakeCaller(""), now);
    EXPECT_EQ(sessions.FindByToken(cookie, now), nullptr);
    EXPECT_EQ(sessions.FindByCookie("token", now), nullptr);
    EXPECT_EQ(sessions.FindByCookie("", now), nullptr);
}

TEST(Sessions, OpenBySecretsThatAreGoodOnce)
{
    Sessions sessions(10, k_a_while, [](const auto &) {});
    const std::string oldest = sessions.MakeSecret();
    const std::string second = sessions.MakeSecret();
    EXPECT_EQ(oldest.size(), 64u);
    EXPECT_NE(oldest, second);
    for (std::size_t i = 0; i < Sessions::k_MostSecrets - 1; ++i)
        sessions.MakeSecret();
    EXPECT_FALSE(sessions.TakeSecret(oldest));
    EXPECT_TRUE(sessions.TakeSecret(second));
    EXPECT_FALSE(sessions.TakeSecret(second));
    EXPECT_FALSE(sessions.TakeSecret(""));
}

TEST(DoorSessions, ChangeASecretForACookieOnce)
{
    RunningDoor door;
    const std::string secret = door.On([&] { return std::string(door.Door().MakeSecret()); });
    const std::string request =
        door.Post("/api/session", LogInBody("secret", secret), door.SameOrigin());
    const BareAnswer opened = AskBare(door.Port(), request);
    EXPECT_EQ(opened.status, 204);
    EXPECT_FALSE(opened.fields.contains("Content-Length"));
    const std::string cookie = opened.Field("Set-Cookie");
    const std::string name = "corvan-" + std::to_string(door.Port()) + "=";
    EXPECT_EQ(cookie.substr(0, name.size()), name);
    const std::string value = cookie.substr(name.size(), cookie.find(';') - name.size());
    EXPECT_EQ(value.size(), 64u);
    EXPECT_NE(value, secret);
    EXPECT_EQ(cookie.substr(cookie.find(';')), "; Path=/; HttpOnly; SameSite=Strict");
    EXPECT_EQ(
        AskBare(door.Port(), door.Get("/api/things/a", "Cookie: " + name + value + "\r\n")).status,
        200);

    const BareAnswer again = AskBare(door.Port(), request);
    EXPECT_EQ(again.status, 401);
    EXPECT_FALSE(again.fields.contains("Set-Cookie"));
    EXPECT_NE(again.body.find("the link has been used"), std::string::npos);
}

TEST(DoorSessions, FindTheirCookieAmongOthers)
{
    RunningDoor door;
    const std::string own = door.OpenSession();
    const std::string pair = own.substr(8, own.size() - 10);
    const std::string name = "corvan-" + std::to_string(door.Port());
    for (const std::string &fields :
         {"a=b; " + pair, pair + "; a=b", name + "=forged; " + pair, pair + ";" + name + "=forged"})
        EXPECT_EQ(
            AskBare(door.Port(), door.Get("/api/things/a", "Cookie: " + fields + "\r\n")).status,
            200)
            << fields;
    for (const std::string &fields : {"x" + pair, name + "2" + pair.substr(name.size()),
                                      "a=\"" + pair + "\"", pair + "0", "corvan-1=" + pair})
        EXPECT_EQ(
            AskBare(door.Port(), door.Get("/api/things/a", "Cookie: " + fields + "\r\n")).status,
            401)
            << fields;
}

TEST(DoorSessions, EndByTheirOwnWish)
{
    RunningDoor door;
    const std::string cookie = door.OpenSession();
    const std::string other = door.OpenSession();
    BareHttp stream(door.Port());
    stream.Send(door.Get("/api/events", cookie));
    stream.ReceiveUntil("event: master");
    const BareAnswer ended =
        AskBare(door.Port(), door.Post("/api/session/end", "{}", door.SameOrigin() + cookie));
    EXPECT_EQ(ended.status, 204);
    EXPECT_NE(ended.Field("Set-Cookie").find("; Max-Age=0"), std::string::npos);
    EXPECT_EQ(AskBare(door.Port(), door.Get("/api/things/a", cookie)).status, 401);
    EXPECT_EQ(AskBare(door.Port(), door.Get("/api/things/a", other)).status, 200);
    EXPECT_TRUE(stream.IsClosed(std::chrono::seconds(10)));
}

TEST(DoorSessions, RefuseABodyThatIsNone)
{
    RunningDoor door;
    for (const char *body :
         {"", "{", "[]", "7", "\"secret\"", "{}", "{\"secret\": 7}", "{\"secret\": \"\"}",
          "{\"secret\": \"a\", \"token\": \"b\"}", "{\"secret\": [\"a\"]}", "\xff"})
    {
        const BareAnswer answer =
            AskBare(door.Port(), door.Post("/api/session", body, door.SameOrigin()));
        EXPECT_EQ(answer.status, 400) << body;
        EXPECT_TRUE(nlohmann::json::accept(answer.body)) << answer.body;
    }
    EXPECT_EQ(
        AskBare(door.Port(), door.Post("/api/session", LogInBody("token", RunningDoor::k_token),
                                       door.SameOrigin()))
            .status,
        204);
    EXPECT_EQ(
        AskBare(door.Port(), door.Post("/api/session", LogInBody("token", "no"), door.SameOrigin()))
            .status,
        401);
}

TEST(DoorSessions, AreThoseOfTheMastersTokensInAStudio)
{
    RunningDoor door(StudioSettings());
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(
            AskBare(door.Port(), door.Get("/api/things/a", RunningDoor::Bearer("anna's"))).body,
            "a||");
    EXPECT_EQ(door.On([&] { return door.gatekeeper.asked.size(); }), 1u);

    const BareAnswer wrong =
        AskBare(door.Port(), door.Get("/api/things/a", RunningDoor::Bearer("nobody's")));
    EXPECT_EQ(wrong.status, 401);
    EXPECT_NE(wrong.body.find("the Master does not know the token"), std::string::npos);
    EXPECT_EQ(AskBare(door.Port(), door.Get("/api/things/a", RunningDoor::Bearer("lost"))).status,
              503);

    const BareAnswer opened = AskBare(
        door.Port(), door.Post("/api/session", LogInBody("token", "anna's"), door.SameOrigin()));
    EXPECT_EQ(opened.status, 204);
    const std::string cookie = opened.Field("Set-Cookie");
    EXPECT_EQ(
        AskBare(door.Port(),
                door.Get("/api/things/a", "Cookie: " + cookie.substr(0, cookie.find(';')) + "\r\n"))
            .status,
        200);
    EXPECT_EQ(AskBare(door.Port(),
                      door.Post("/api/session", LogInBody("token", "nobody's"), door.SameOrigin()))
                  .status,
              401);
    // What opens a personal server opens no other: nobody has made a token of nothing.
    EXPECT_EQ(AskBare(door.Port(), door.Get("/api/things/a", "Authorization: Bearer\r\n")).status,
              401);
}

TEST(DoorSessions, AskOnceForATokenThatComesManyTimesAtOnce)
{
    RunningDoor door(StudioSettings());
    door.On([&] { door.gatekeeper.isSlow = true; });
    std::vector<std::unique_ptr<BareHttp>> clients;
    for (int i = 0; i < 5; ++i)
    {
        clients.push_back(std::make_unique<BareHttp>(door.Port()));
        clients.back()->Send(door.Get("/api/things/a", RunningDoor::Bearer("anna's")));
    }
    // Each has been read when one that came later is answered.
    while (door.On([&] { return door.gatekeeper.open.size(); }) == 0)
        EXPECT_EQ(AskBare(door.Port(), door.Get("/api/open")).status, 200);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(AskBare(door.Port(), door.Get("/api/open")).status, 200);
    door.On(
        [&]
        {
            EXPECT_EQ(door.gatekeeper.open.size(), 1u);
            door.gatekeeper.isSlow = false;
            for (const auto &told : std::exchange(door.gatekeeper.open, {}))
                told({});
        });
    for (const auto &client : clients)
        EXPECT_EQ(client->Receive().status, 200);
}

TEST(DoorSessions, AskForFewTokensOfAPeerAtATime)
{
    web::ServerSettings settings = StudioSettings();
    settings.limits.questions = 3;
    settings.limits.questionsOfPeer = 2;
    RunningDoor door(settings);
    door.On([&] { door.gatekeeper.isSlow = true; });
    std::vector<std::unique_ptr<BareHttp>> clients;
    const auto ask = [&](const char *from, std::size_t open)
    {
        clients.push_back(std::make_unique<BareHttp>(door.Port(), from));
        clients.back()->Send(door.Get(
            "/api/things/a", RunningDoor::Bearer("token " + std::to_string(clients.size()))));
        if (open == 0)
            return clients.back()->Receive();
        while (door.On([&] { return door.gatekeeper.open.size(); }) < open)
            std::this_thread::yield();
        return BareAnswer();
    };
    ask("127.0.0.1", 1);
    ask("127.0.0.1", 2);
    const BareAnswer refused = ask("127.0.0.1", 0);
    EXPECT_EQ(refused.status, 429);
    EXPECT_EQ(refused.Field("Retry-After"), "1");
    ask("127.0.0.2", 3);
    EXPECT_EQ(ask("127.0.0.3", 0).status, 429);
    door.On([&] { door.gatekeeper.open.clear(); });
    EXPECT_EQ(clients.front()->Receive().status, 503);
    ask("127.0.0.3", 1);
}

TEST(DoorSessions, EndWhereTheMasterTakesTheTokenNoMore)
{
    std::string session;
    RunningDoor door(
        StudioSettings(),
        [&](web::Routes &routes)
        {
            routes.Add(
                web::Method::Get, "/api/who",
                [&](const std::shared_ptr<const web::Request> &request, const web::Reply &reply)
                {
                    session = request->caller->session;
                    reply(web::JsonResponse("\"" + request->caller->token + "\""));
                });
        });
    const std::string fields = RunningDoor::Bearer("anna's");
    EXPECT_EQ(AskBare(door.Port(), door.Get("/api/who", fields)).body, "\"anna's\"");
    BareHttp stream(door.Port());
    stream.Send(door.Get("/api/events", fields));
    stream.ReceiveUntil("event: master");
    door.On([&] { door.Door().EndSession(session); });
    EXPECT_TRUE(stream.IsClosed(std::chrono::seconds(10)));
    EXPECT_EQ(door.On([&] { return door.gatekeeper.ended; }), std::vector<std::string>{"anna's"});
    const std::size_t asked = door.On([&] { return door.gatekeeper.asked.size(); });
    AskBare(door.Port(), door.Get("/api/who", fields));
    EXPECT_EQ(door.On([&] { return door.gatekeeper.asked.size(); }), asked + 1);
}

TEST(DoorSessions, TellHowLongNobodyWasThere)
{
    RunningDoor door;
    const auto idleFor = [&] { return door.On([&] { return door.Door().IdleFor(); }); };
    const std::string cookie = door.OpenSession();
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(AskBare(door.Port(), door.Get("/api/things/a", cookie)).status, 200);
    const auto sinceRequest = idleFor();
    EXPECT_LE(sinceRequest, std::chrono::steady_clock::now() - start);
    // Who is not known does not count.
    start = std::chrono::steady_clock::now();
    EXPECT_EQ(AskBare(door.Port(), door.Get("/api/open")).status, 200);
    EXPECT_EQ(AskBare(door.Port(), door.Get("/api/things/a")).status, 401);
    const auto passed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(idleFor(), passed);
    {
        BareHttp stream(door.Port());
        stream.Send(door.Get("/api/events", cookie));
        stream.ReceiveUntil("event: master");
        EXPECT_EQ(idleFor().count(), 0);
    }
    while (door.OpenStreams() > 0)
        std::this_thread::yield();
    EXPECT_GT(idleFor().count(), 0);
}

} // namespace
