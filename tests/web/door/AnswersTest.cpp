#include <fstream>
#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "ostrel/Exception.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"
#include "tests/web/door/RunningDoor.h"
#include "web/door/AnswerText.h"
#include "web/door/HttpError.h"

using web::Method;
using web::Reply;
using web::Request;

namespace
{

using Asked = std::shared_ptr<const Request>;

web::ServerSettings SettingsWithFiles(const ostrel::Path &folder)
{
    web::ServerSettings settings = RunningDoor::PersonalSettings();
    settings.files = {{"/", folder, true}};
    return settings;
}

BareAnswer AskKnown(const RunningDoor &door, const std::string &path,
                    const std::string &fields = {})
{
    return AskBare(door.Port(), door.Get(path, RunningDoor::Bearer() + fields));
}

void ExpectGuarded(const BareAnswer &answer, const std::string &what)
{
    EXPECT_EQ(answer.Field("Content-Security-Policy"),
              "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
              "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'")
        << what;
    EXPECT_EQ(answer.Field("X-Frame-Options"), "DENY") << what;
    EXPECT_EQ(answer.Field("X-Content-Type-Options"), "nosniff") << what;
    EXPECT_EQ(answer.Field("Referrer-Policy"), "no-referrer") << what;
    EXPECT_EQ(answer.Field("Cross-Origin-Resource-Policy"), "same-origin") << what;
    EXPECT_EQ(answer.Field("Cross-Origin-Opener-Policy"), "same-origin") << what;
    EXPECT_EQ(answer.Field("Date").size(), 29u) << what;
    for (const auto &[name, value] : answer.fields)
        EXPECT_NE(name.substr(0, 15), "Access-Control-") << what;
}

TEST(Answers, SayWhatABrowserMayDoWithThem)
{
    TempFolder folder;
    folder.MakeFile("index.html", "<!doctype html>");
    RunningDoor door(SettingsWithFiles(folder.Folder()));
    const std::string known = RunningDoor::Bearer();
    for (const std::string &request :
         {door.Get("/"), door.Get("/api/things/a", known), door.Get("/api/things/a"),
          door.Get("/nothing"), door.Get("/api/open"), door.Post("/api/things/a", "{}"),
          std::string("nothing\r\n\r\n"), door.Filled("GET / HTTP/1.1\r\nHost: other\r\n\r\n")})
        ExpectGuarded(AskBare(door.Port(), request), request);
    BareHttp stream(door.Port());
    stream.Send(door.Get("/api/events", known));
    const BareAnswer begun = stream.Receive();
    ExpectGuarded(begun, "events");
    EXPECT_EQ(begun.Field("Content-Type"), "text/event-stream");
    EXPECT_EQ(begun.Field("Cache-Control"), "no-store");
}

TEST(Answers, AreKeptByNobodyWhereTheirHandlerSaysNothing)
{
    RunningDoor door(RunningDoor::PersonalSettings(),
                     [](web::Routes &routes)
                     {
                         routes.Add(Method::Get, "/api/kept",
                                    [](const Asked &, const Reply &reply)
                                    {
                                        web::Response response = web::JsonResponse("1");
                                        response.headers = {{"Cache-Control", "max-age=5"}};
                                        reply(std::move(response));
                                    });
                     });
    EXPECT_EQ(AskKnown(door, "/api/things/a").Field("Cache-Control"), "no-store");
    EXPECT_EQ(AskKnown(door, "/api/kept").Field("Cache-Control"), "max-age=5");
}

TEST(Answers, GiveFilesWithTheirKinds)
{
    TempFolder folder;
    folder.MakeFile("index.html", "page");
    folder.MakeFile("main.js", "script");
    folder.MakeFile("view/job.js", "job");
    folder.MakeFile("page.css", "style");
    folder.MakeFile("secret.conf", "secret");
    folder.MakeFile("noend", "secret");
    folder.MakeFile("other/icon.svg", "<svg/>");
    web::ServerSettings settings = SettingsWithFiles(folder.Folder());
    settings.files.push_back({"/lib/", folder / "view", false});
    settings.files.push_back({"/none/", folder / "none", false});
    settings.files.push_back({"/icon.svg", folder / "other/icon.svg", true});
    LogCapture log;
    RunningDoor door(settings);
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "cannot read the files of the page in "), 1);
    const struct
    {
        const char *path;
        int status;
        const char *type;
        const char *body;
    } cases[] = {
        {"/", 200, "text/html; charset=utf-8", "page"},
        {"/?job=7&frame=3", 200, "text/html; charset=utf-8", "page"},
        {"/index.html", 200, "text/html; charset=utf-8", "page"},
        {"/main.js", 200, "text/javascript; charset=utf-8", "script"},
        {"/view/job.js", 200, "text/javascript; charset=utf-8", "job"},
        {"/lib/job.js", 200, "text/javascript; charset=utf-8", "job"},
        {"/page.css", 200, "text/css; charset=utf-8", "style"},
        {"/icon.svg", 200, "image/svg+xml", "<svg/>"},
        {"/secret.conf", 404, "application/json", nullptr},
        {"/noend", 404, "application/json", nullptr},
        {"/view", 404, "application/json", nullptr},
        {"/view/", 404, "application/json", nullptr},
        {"/none/a.js", 404, "application/json", nullptr},
    };
    for (const auto &[path, status, type, body] : cases)
    {
        const BareAnswer answer = AskBare(door.Port(), door.Get(path));
        EXPECT_EQ(answer.status, status) << path;
        EXPECT_EQ(answer.Field("Content-Type"), type) << path;
        if (body)
        {
            EXPECT_EQ(answer.body, body) << path;
        }
    }
    // A link to the page is followed from any site; what it then asks for is not.
    EXPECT_EQ(AskBare(door.Port(), door.Get("/?job=7", "Sec-Fetch-Site: cross-site\r\n"
                                                       "Sec-Fetch-Mode: navigate\r\n"))
                  .status,
              200);
}

TEST(Answers, NeedThePagesFolder)
{
    TempFolder folder;
    const std::string reason =
        Thrown([&] { RunningDoor door(SettingsWithFiles(folder / "none")); });
    EXPECT_EQ(reason, "cannot read the files of the page in " + (folder / "none").Text() +
                          ": No such file or directory");
}

TEST(Answers, AreNotSentAgainToWhoHasThem)
{
    TempFolder folder;
    folder.MakeFile("index.html", "page");
    RunningDoor door(SettingsWithFiles(folder.Folder()),
                     [](web::Routes &routes)
                     {
                         routes.Add(Method::Get, "/api/tagged",
                                    [](const Asked &, const Reply &reply)
                                    {
                                        web::Response response = web::JsonResponse("1");
                                        response.headers = {{"ETag", "\"one\""}};
                                        reply(std::move(response));
                                    });
                     });
    const std::string tag = AskBare(door.Port(), door.Get("/")).Field("ETag");
    EXPECT_EQ(tag.size(), 34u);
    const struct
    {
        std::string path;
        std::string tags;
        int status;
    } cases[] = {
        {"/", tag, 304},
        {"/", "\"other\"", 200},
        {"/", "W/" + tag, 304},
        {"/", "\"other\", " + tag, 304},
        {"/", "*", 304},
        {"/", tag.substr(0, 33), 200},
        {"/", "", 200},
        {"/api/tagged", "\"one\"", 304},
        {"/api/tagged", "\"two\"", 200},
        {"/api/things/a", "*", 200},
    };
    for (const auto &[path, tags, status] : cases)
    {
        const BareAnswer answer = AskKnown(door, path, "If-None-Match: " + tags + "\r\n");
        EXPECT_EQ(answer.status, status) << path << " " << tags;
        EXPECT_EQ(answer.body.empty(), status == 304) << path << " " << tags;
    }
    const BareAnswer kept = AskBare(door.Port(), door.Get("/", "If-None-Match: " + tag + "\r\n"));
    EXPECT_EQ(kept.Field("ETag"), tag);
    EXPECT_EQ(kept.Field("Cache-Control"), "no-cache");
    EXPECT_FALSE(kept.fields.contains("Content-Length"));
    EXPECT_FALSE(kept.fields.contains("Content-Type"));
}

TEST(Answers, LoseTheirBodyAlongTheWayWhereOnlyTheHeadWasAskedFor)
{
    TempFolder folder;
    folder.MakeFile("index.html", "page");
    RunningDoor door(SettingsWithFiles(folder.Folder()));
    BareHttp client(door.Port());
    for (const char *path : {"/", "/api/things/a", "/nothing"})
    {
        std::string request = door.Get(path, RunningDoor::Bearer());
        const int status = std::string(path) == "/nothing" ? 404 : 200;
        client.Send("HEAD" + request.substr(3) + request);
        const BareAnswer head = client.Receive(true);
        const BareAnswer whole = client.Receive();
        EXPECT_EQ(head.status, status) << path;
        EXPECT_EQ(whole.status, status) << path;
        EXPECT_EQ(head.Field("Content-Length"), std::to_string(whole.body.size())) << path;
        EXPECT_EQ(head.Field("Content-Type"), whole.Field("Content-Type")) << path;
    }
    const std::string events = door.Get("/api/events", RunningDoor::Bearer());
    const BareAnswer refused = AskBare(door.Port(), "HEAD" + events.substr(3));
    EXPECT_EQ(refused.status, 405);
    EXPECT_EQ(refused.Field("Allow"), "GET");
}

TEST(Answers, ComeInTheOrderOfTheRequestsOfAConnection)
{
    RunningDoor door;
    const std::string known = RunningDoor::Bearer();
    BareHttp client(door.Port());
    client.Send(door.Get("/api/things/1", known) + door.Post("/api/things/2", "{}", known) +
                door.Get("/nothing", known) + door.Post("/api/things/3?as=x+y", "[]", known) +
                door.Get("/api/things/4", known + "Connection: close\r\n"));
    EXPECT_EQ(client.Receive().body, "1||");
    EXPECT_EQ(client.Receive().body, "2||{}");
    EXPECT_EQ(client.Receive().status, 404);
    EXPECT_EQ(client.Receive().body, "3|x y|[]");
    const BareAnswer last = client.Receive();
    EXPECT_EQ(last.body, "4||");
    EXPECT_EQ(last.Field("Connection"), "close");
    EXPECT_TRUE(client.IsClosed(std::chrono::seconds(10)));
}

TEST(Answers, AreTheSameHoweverTheRequestIsCut)
{
    RunningDoor door;
    const std::string request =
        door.Post("/api/things/a%20b?as=c", "{\"d\": 1}", RunningDoor::Bearer());
    const std::string pieces =
        door.Filled("POST /api/things/a%20b?as=c HTTP/1.1\r\n{host}Content-Type: application/json; "
                    "charset=utf-8\r\nTransfer-Encoding: chunked\r\n{bearer}\r\n3\r\n{\"d\r\n5;x=y"
                    "\r\n\": 1}\r\n0\r\nHost: evil.example\r\n\r\n");
    BareHttp client(door.Port());
    for (const std::string &each : {request, pieces})
    {
        for (const char byte : each)
            client.Send(std::string(1, byte));
        EXPECT_EQ(client.Receive().body, "a b|c|{\"d\": 1}");
        for (std::size_t cut = 1; cut < each.size(); cut += 7)
        {
            client.Send(each.substr(0, cut));
            client.Send(each.substr(cut));
            EXPECT_EQ(client.Receive().body, "a b|c|{\"d\": 1}") << cut;
        }
    }
}

TEST(Answers, LetABodyComeThatWaitsForIt)
{
    RunningDoor door;
    BareHttp client(door.Port());
    const std::string request =
        door.Post("/api/things/a", "{}", RunningDoor::Bearer() + "Expect: 100-continue\r\n");
    client.Send(request.substr(0, request.size() - 2));
    EXPECT_EQ(client.ReceiveUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
    client.Send("{}");
    EXPECT_EQ(client.Receive().body, "a||{}");

    BareHttp refused(door.Port());
    const std::string unknown =
        door.Post("/api/things/a", "{}", door.SameOrigin() + "Expect: 100-continue\r\n");
    refused.Send(unknown.substr(0, unknown.size() - 2));
    EXPECT_EQ(refused.Receive().status, 401);
}

TEST(Answers, TellWhoseFaultItIs)
{
    RunningDoor door(
        RunningDoor::PersonalSettings(),
        [](web::Routes &routes)
        {
            routes.Add(Method::Get, "/api/fault/{whose}",
                       [](const Asked &request, Reply reply)
                       {
                           const std::string whose = request->places.at("whose");
                           if (whose == "asker")
                               throw new web::HttpError(409, "the Master says \"no\"\n<b>");
                           if (whose == "ours")
                               throw new ostrel::Exception("the disk is full");
                           if (whose == "library")
                               throw std::runtime_error("a library");
                           if (whose == "bytes")
                               throw new web::HttpError(404, "no \xff here");
                           if (whose == "twice")
                           {
                               reply(web::JsonResponse("1"));
                               reply(web::JsonResponse("2"));
                               throw new ostrel::Exception("too late");
                           }
                           if (whose == "elsewhere")
                               std::jthread([reply = std::move(reply)]
                                            { reply(web::JsonResponse("\"there\"")); })
                                   .detach();
                       });
            routes.AddStream("/api/badstream",
                             [](const Asked &, const std::shared_ptr<web::EventStream> &stream)
                             {
                                 stream->Send(std::make_shared<const std::string>("data: 1\n\n"));
                                 throw new web::HttpError(404, "no such job");
                             });
        });
    LogCapture log(ostrel::k_LogError);
    const struct
    {
        const char *path;
        int status;
        const char *error;
    } cases[] = {
        {"/api/fault/asker", 409, "the Master says \"no\"\n<b>"},
        {"/api/fault/ours", 500, "the disk is full"},
        {"/api/fault/library", 500, "a library"},
        {"/api/fault/bytes", 404, "no \xef\xbf\xbd here"},
        {"/api/fault/dropped", 500, "no answer was made"},
        {"/api/badstream", 404, "no such job"},
    };
    BareHttp client(door.Port());
    for (const auto &[path, status, error] : cases)
    {
        client.Send(door.Get(path, RunningDoor::Bearer()));
        const BareAnswer answer = client.Receive();
        EXPECT_EQ(answer.status, status) << path;
        const auto body = nlohmann::json::parse(answer.body, nullptr, false);
        ASSERT_TRUE(body.is_object()) << answer.body;
        EXPECT_EQ(body["error"], error) << path;
    }
    EXPECT_EQ(log.Count(ostrel::k_LogError, "/api/fault/{whose}: the disk is full"), 1);
    EXPECT_EQ(log.LineCount(), 2u);
    client.Send(door.Get("/api/fault/twice", RunningDoor::Bearer()));
    EXPECT_EQ(client.Receive().body, "1");
    client.Send(door.Get("/api/fault/elsewhere", RunningDoor::Bearer()));
    EXPECT_EQ(client.Receive().body, "\"there\"");
}

TEST(Answers, GoNowhereWhereTheyComeTooLate)
{
    std::vector<Reply> kept;
    web::ServerSettings settings = RunningDoor::PersonalSettings();
    settings.limits.answerWithin = std::chrono::milliseconds(1000);
    RunningDoor door(settings,
                     [&](web::Routes &routes)
                     {
                         routes.Add(Method::Get, "/api/later",
                                    [&](const Asked &, Reply reply)
                                    { kept.push_back(std::move(reply)); });
                     });
    const auto waitForAsked = [&](std::size_t count)
    {
        while (door.On([&] { return kept.size(); }) < count)
            std::this_thread::yield();
    };
    BareHttp client(door.Port());
    client.Send(door.Get("/api/later", RunningDoor::Bearer()));
    EXPECT_EQ(client.Receive().status, 504);
    client.Send(door.Get("/api/later", RunningDoor::Bearer()));
    waitForAsked(2);
    door.On(
        [&]
        {
            kept[0](web::JsonResponse("\"too late\""));
            kept[1](web::JsonResponse("\"in time\""));
        });
    EXPECT_EQ(client.Receive().body, "\"in time\"");
    {
        BareHttp gone(door.Port());
        gone.Send(door.Get("/api/later", RunningDoor::Bearer()));
        waitForAsked(3);
    }
    door.On([&] { kept[2](web::JsonResponse("\"to nobody\"")); });
    EXPECT_EQ(AskKnown(door, "/api/things/a").status, 200);
    door.On([&] { kept.clear(); });
}

TEST(Answers, AreLargeWhereTheyHaveToBe)
{
    const auto large = std::make_shared<const std::string>(
        []
        {
            std::string text;
            while (text.size() < 5'000'000)
                text += std::to_string(text.size()) + " ";
            return text;
        }());
    RunningDoor door(RunningDoor::PersonalSettings(),
                     [&](web::Routes &routes)
                     {
                         routes.Add(Method::Get, "/api/large",
                                    [&](const Asked &, const Reply &reply)
                                    {
                                        web::Response response;
                                        response.body = large;
                                        reply(std::move(response));
                                    });
                     });
    BareHttp client(door.Port());
    for (int i = 0; i < 2; ++i)
    {
        client.Send(door.Get("/api/large", RunningDoor::Bearer()));
        EXPECT_TRUE(client.Receive().body == *large);
    }
}

TEST(AnswerText, KeepsAFieldToItsLine)
{
    web::Response response = web::JsonResponse("1");
    response.headers = {{"X-One", "a\r\nSet-Cookie: b"}};
    const std::string head = web::AnswerHead(response, web::AfterAnswer::KeepAlive, 0);
    EXPECT_NE(head.find("\r\nX-One: a??Set-Cookie: b\r\n"), std::string::npos) << head;
    EXPECT_NE(head.find("\r\nDate: Thu, 01 Jan 1970 00:00:00 GMT\r\n"), std::string::npos) << head;
}

} // namespace
