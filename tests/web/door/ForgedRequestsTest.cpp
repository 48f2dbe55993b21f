#include <gtest/gtest.h>

#include "tests/web/door/RunningDoor.h"

namespace
{

// "{cookie}" is the whole field of an open session, "{port}" the server's own.
struct Forged
{
    const char *what;
    const char *request;
    int status;
    const char *says; // Part of the sentence.
};

const Forged k_forged[] = {
    // What is right comes in, or nothing below would tell anything.
    {"a page reads", "GET /api/things/a HTTP/1.1\r\n{host}{cookie}\r\n", 200, "a||"},
    {"a page changes by its origin",
     "POST /api/things/a HTTP/1.1\r\n{host}{own}{json}{cookie}\r\n{}", 200, "a||{}"},
    {"a page changes by its fetch",
     "POST /api/things/a HTTP/1.1\r\n{host}{json}Sec-Fetch-Site: same-origin\r\n{cookie}\r\n{}",
     200, "a||{}"},
    {"a script changes", "POST /api/things/a HTTP/1.1\r\n{host}{json}{bearer}\r\n{}", 200, "a||{}"},
    {"the address line", "GET /api/things/a HTTP/1.1\r\n{host}Sec-Fetch-Site: none\r\n{cookie}\r\n",
     200, "a||"},
    {"localhost", "GET /api/things/a HTTP/1.1\r\nHost: LocalHost:{port}\r\n{cookie}\r\n", 200,
     "a||"},

    // Another name leads here.
    {"another host", "GET /api/things/a HTTP/1.1\r\nHost: evil.example:{port}\r\n{cookie}\r\n", 421,
     "not the host"},
    {"another host without a port",
     "GET /api/things/a HTTP/1.1\r\nHost: evil.example\r\n{cookie}\r\n", 421, "not the host"},
    {"no port", "GET /api/things/a HTTP/1.1\r\nHost: 127.0.0.1\r\n{cookie}\r\n", 421,
     "not the host"},
    {"another port", "GET /api/things/a HTTP/1.1\r\nHost: 127.0.0.1:1\r\n{cookie}\r\n", 421,
     "not the host"},
    {"a host that begins as ours",
     "GET /api/things/a HTTP/1.1\r\nHost: 127.0.0.1:{port}.evil.example\r\n{cookie}\r\n", 421,
     "not the host"},
    {"a host that ends as ours",
     "GET /api/things/a HTTP/1.1\r\nHost: evil.127.0.0.1:{port}\r\n{cookie}\r\n", 421,
     "not the host"},
    {"a user in the host",
     "GET /api/things/a HTTP/1.1\r\nHost: evil@127.0.0.1:{port}\r\n{cookie}\r\n", 421,
     "not the host"},
    {"a host with a dot at its end",
     "GET /api/things/a HTTP/1.1\r\nHost: localhost.:{port}\r\n{cookie}\r\n", 421, "not the host"},
    {"an empty host", "GET /api/things/a HTTP/1.1\r\nHost: \r\n{cookie}\r\n", 421, "not the host"},
    {"an open address of another host", "GET /api/open HTTP/1.1\r\nHost: evil.example\r\n\r\n", 421,
     "not the host"},
    {"a file of another host", "GET / HTTP/1.1\r\nHost: evil.example\r\n\r\n", 421, "not the host"},
    {"no host", "GET /api/things/a HTTP/1.1\r\n{cookie}\r\n", 400, "which host"},
    {"two hosts", "GET /api/things/a HTTP/1.1\r\n{host}Host: evil.example\r\n{cookie}\r\n", 400,
     "twice"},
    {"two hosts the other way round",
     "GET /api/things/a HTTP/1.1\r\nHost: evil.example\r\n{host}{cookie}\r\n", 400, "twice"},
    {"the host in the address",
     "GET http://127.0.0.1:{port}/api/things/a HTTP/1.1\r\n{host}{cookie}\r\n", 400, "no path"},
    {"another host in the address",
     "GET http://evil.example/api/things/a HTTP/1.1\r\n{host}{cookie}\r\n", 400, "no path"},

    // A page of another site asks, with the user's cookie.
    {"another site changes",
     "POST /api/things/a HTTP/1.1\r\n{host}{json}"
     "Origin: http://evil.example\r\nSec-Fetch-Site: cross-site\r\n{cookie}\r\n{}",
     403, "another site"},
    {"another site whose browser says no more than its origin",
     "POST /api/things/a HTTP/1.1\r\n{host}{json}Origin: http://evil.example\r\n{cookie}\r\n{}",
     403, "another site"},
    {"a page without an origin",
     "POST /api/things/a HTTP/1.1\r\n{host}{json}Origin: null\r\n{cookie}\r\n{}", 403,
     "another site"},
    {"an empty origin", "POST /api/things/a HTTP/1.1\r\n{host}{json}Origin: \r\n{cookie}\r\n{}",
     403, "another site"},
    {"a page on another port",
     "POST /api/things/a HTTP/1.1\r\n{host}{json}"
     "Origin: http://127.0.0.1:1\r\nSec-Fetch-Site: same-site\r\n{cookie}\r\n{}",
     403, "another site"},
    {"a page of the other name",
     "POST /api/things/a HTTP/1.1\r\n{host}{json}"
     "Origin: http://localhost:{port}\r\n{cookie}\r\n{}",
     403, "another site"},
    {"a page of the other scheme",
     "POST /api/things/a HTTP/1.1\r\n{host}{json}"
     "Origin: https://127.0.0.1:{port}\r\n{cookie}\r\n{}",
     403, "another site"},
    {"an origin that begins as ours",
     "POST /api/things/a HTTP/1.1\r\n{host}{json}"
     "Origin: http://127.0.0.1:{port}.evil.example\r\n{cookie}\r\n{}",
     403, "another site"},
    {"fetched here and from elsewhere",
     "POST /api/things/a HTTP/1.1\r\n{host}{json}"
     "Origin: http://evil.example\r\nSec-Fetch-Site: same-origin\r\n"
     "{cookie}\r\n{}",
     403, "another site"},
    {"two origins",
     "POST /api/things/a HTTP/1.1\r\n{host}{own}{json}"
     "Origin: http://evil.example\r\n{cookie}\r\n{}",
     400, "twice"},
    {"two sites",
     "POST /api/things/a HTTP/1.1\r\n{host}{json}"
     "Sec-Fetch-Site: same-origin\r\nsec-fetch-site: cross-site\r\n{cookie}\r\n{}",
     400, "twice"},
    {"a change that nobody has asked for",
     "POST /api/things/a HTTP/1.1\r\n{host}{json}{cookie}\r\n{}", 403, "which site"},
    {"a change by the address line",
     "POST /api/things/a HTTP/1.1\r\n{host}{json}Sec-Fetch-Site: none\r\n{cookie}\r\n{}", 403,
     "another site"},
    {"a token from another site",
     "POST /api/things/a HTTP/1.1\r\n{host}{json}{bearer}"
     "Origin: http://evil.example\r\n\r\n{}",
     403, "another site"},
    {"no token, but its word",
     "POST /api/things/a HTTP/1.1\r\n{host}{json}"
     "Authorization: Bearer \r\n{cookie}\r\n{}",
     403, "which site"},
    {"another site reads",
     "GET /api/things/a HTTP/1.1\r\n{host}Sec-Fetch-Site: cross-site\r\n{cookie}\r\n", 403,
     "another site"},
    {"another port reads",
     "GET /api/things/a HTTP/1.1\r\n{host}Sec-Fetch-Site: same-site\r\n{cookie}\r\n", 403,
     "another site"},
    {"another origin reads",
     "GET /api/things/a HTTP/1.1\r\n{host}Origin: http://evil.example\r\n{cookie}\r\n", 403,
     "another site"},
    {"another site follows events",
     "GET /api/events HTTP/1.1\r\n{host}Sec-Fetch-Site: cross-site\r\n{cookie}\r\n", 403,
     "another site"},
    {"another site logs in",
     "POST /api/session HTTP/1.1\r\n{host}{json}"
     "Origin: http://evil.example\r\n\r\n{}",
     403, "another site"},
    {"nobody logs in", "POST /api/session HTTP/1.1\r\n{host}{json}\r\n{}", 403, "which site"},
    {"another site asks what it may",
     "OPTIONS /api/things/a HTTP/1.1\r\n{host}"
     "Origin: http://evil.example\r\n"
     "Access-Control-Request-Method: POST\r\n\r\n",
     405, "GET, HEAD and POST"},

    // What a form or a simple request of any page could send.
    {"a form",
     "POST /api/things/a HTTP/1.1\r\n{host}{own}"
     "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: 2\r\n{cookie}\r\n{}",
     415, "JSON"},
    {"plain text",
     "POST /api/things/a HTTP/1.1\r\n{host}{own}"
     "Content-Type: text/plain\r\nContent-Length: 2\r\n{cookie}\r\n{}",
     415, "JSON"},
    {"JSON in a parameter",
     "POST /api/things/a HTTP/1.1\r\n{host}{own}"
     "Content-Type: text/plain; a=application/json\r\nContent-Length: 2\r\n"
     "{cookie}\r\n{}",
     415, "JSON"},
    {"no type", "POST /api/things/a HTTP/1.1\r\n{host}{own}Content-Length: 2\r\n{cookie}\r\n{}",
     415, "JSON"},
    {"two types",
     "POST /api/things/a HTTP/1.1\r\n{host}{own}{json}Content-Type: text/plain\r\n{cookie}\r\n{}",
     400, "twice"},

    // Nobody who is known.
    {"no proof", "GET /api/things/a HTTP/1.1\r\n{host}\r\n", 401, "who asks"},
    {"no proof for events", "GET /api/events HTTP/1.1\r\n{host}\r\n", 401, "who asks"},
    {"a cookie of our name", "GET /api/things/a HTTP/1.1\r\n{host}Cookie: corvan-{port}=1\r\n\r\n",
     401, "who asks"},
    {"an empty cookie", "GET /api/things/a HTTP/1.1\r\n{host}Cookie: corvan-{port}=\r\n\r\n", 401,
     "who asks"},
    {"the token as a cookie",
     "GET /api/things/a HTTP/1.1\r\n{host}"
     "Cookie: corvan-{port}=the token of a personal server\r\n\r\n",
     401, "who asks"},
    {"another token", "GET /api/things/a HTTP/1.1\r\n{host}Authorization: Bearer the token\r\n\r\n",
     401, "not that of this server"},
    {"a longer token",
     "GET /api/things/a HTTP/1.1\r\n{host}"
     "Authorization: Bearer the token of a personal server!\r\n\r\n",
     401, "not that of this server"},
    {"another way to prove it",
     "GET /api/things/a HTTP/1.1\r\n{host}Authorization: Basic YTpi\r\n\r\n", 401, "Bearer"},
    {"a token beside a cookie",
     "GET /api/things/a HTTP/1.1\r\n{host}"
     "Authorization: Bearer wrong\r\n{cookie}\r\n",
     401, "not that of this server"},
    {"two tokens", "GET /api/things/a HTTP/1.1\r\n{host}{bearer}Authorization: Bearer b\r\n\r\n",
     400, "twice"},
    {"a token in the address",
     "GET /api/things/a?token=the%20token%20of%20a%20personal%20server HTTP/1.1\r\n"
     "{host}\r\n",
     401, "who asks"},

    // Methods.
    {"a change by GET", "GET /api/session/end HTTP/1.1\r\n{host}{cookie}\r\n", 405,
     "another method"},
    {"a change by HEAD", "HEAD /api/session/end HTTP/1.1\r\n{host}{cookie}\r\n", 405, ""},
    {"the method in a header",
     "GET /api/session/end HTTP/1.1\r\n{host}"
     "X-HTTP-Method-Override: POST\r\n{cookie}\r\n",
     405, "another method"},
    {"PUT", "PUT /api/things/a HTTP/1.1\r\n{host}{own}{json}{cookie}\r\n{}", 405,
     "GET, HEAD and POST"},
    {"DELETE", "DELETE /api/things/a HTTP/1.1\r\n{host}{own}{cookie}\r\n", 405,
     "GET, HEAD and POST"},
    {"TRACE", "TRACE /api/things/a HTTP/1.1\r\n{host}{cookie}\r\n", 405, "GET, HEAD and POST"},
    {"CONNECT", "CONNECT 127.0.0.1:22 HTTP/1.1\r\n{host}{cookie}\r\n", 405, "GET, HEAD and POST"},
    {"get in small letters", "get /api/things/a HTTP/1.1\r\n{host}{cookie}\r\n", 405,
     "GET, HEAD and POST"},
    {"a file is changed", "POST /index.html HTTP/1.1\r\n{host}{own}{json}{cookie}\r\n{}", 405,
     "nothing to be changed"},

    // Addresses.
    {"nothing there", "GET /api/nothing HTTP/1.1\r\n{host}{cookie}\r\n", 404, "no such address"},
    {"out of the folder", "GET /../../etc/passwd HTTP/1.1\r\n{host}\r\n", 404, "no such address"},
    {"out of the folder by escapes", "GET /%2e%2e/%2e%2e/etc/passwd HTTP/1.1\r\n{host}\r\n", 404,
     "no such address"},
    {"a file by another way", "GET /./index.html HTTP/1.1\r\n{host}\r\n", 404, "no such address"},
    {"a file by two slashes", "GET //index.html HTTP/1.1\r\n{host}\r\n", 404, "no such address"},
    {"another file of the folder", "GET /secret.conf HTTP/1.1\r\n{host}\r\n", 404,
     "no such address"},
    {"a line break in a name", "GET /api/things/a%0d%0ab HTTP/1.1\r\n{host}{cookie}\r\n", 400,
     "no path"},
    {"a zero byte in a name", "GET /api/things/a%00b HTTP/1.1\r\n{host}{cookie}\r\n", 400,
     "no path"},
    {"bytes that are no UTF-8", "GET /api/things/%ff HTTP/1.1\r\n{host}{cookie}\r\n", 400,
     "no path"},
    {"half an escape", "GET /api/things/%4 HTTP/1.1\r\n{host}{cookie}\r\n", 400, "no path"},
    {"a name that is given twice", "GET /api/things/a?as=1&as=2 HTTP/1.1\r\n{host}{cookie}\r\n",
     400, "\\\"as\\\" is given twice"},
    {"a star", "GET * HTTP/1.1\r\n{host}{cookie}\r\n", 400, "no path"},

    // What two readers might read in two ways.
    {"two lengths",
     "POST /api/things/a HTTP/1.1\r\n{host}{own}"
     "Content-Type: application/json\r\nContent-Length: 2\r\nContent-Length: 3\r\n"
     "{cookie}\r\n{}",
     400, "no request"},
    {"a length and pieces",
     "POST /api/things/a HTTP/1.1\r\n{host}{own}{json}"
     "Transfer-Encoding: chunked\r\n{cookie}\r\n0\r\n\r\n",
     400, "no request"},
    {"an encoding that is not known",
     "POST /api/things/a HTTP/1.1\r\n{host}{own}"
     "Content-Type: application/json\r\nTransfer-Encoding: xchunked\r\n"
     "{cookie}\r\n",
     400, "encoding"},
    {"an encoding beside the one that is known",
     "POST /api/things/a HTTP/1.1\r\n{host}{own}"
     "Content-Type: application/json\r\nTransfer-Encoding: chunked, identity\r\n{cookie}\r\n",
     400, "encoding"},
    {"a length below nothing",
     "POST /api/things/a HTTP/1.1\r\n{host}{own}"
     "Content-Type: application/json\r\nContent-Length: -2\r\n{cookie}\r\n{}",
     400, "no request"},
    {"a blank before the colon",
     "GET /api/things/a HTTP/1.1\r\nHost : 127.0.0.1:{port}\r\n{cookie}\r\n", 400, "no request"},
    {"line ends of another kind", "GET /api/things/a HTTP/1.1\nHost: 127.0.0.1:{port}\n\r\n\r\n",
     400, "no request"},
    {"a zero byte in a header", nullptr, 400, "no request"}, // Filled in below.
    {"HTTP/2", "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", 400, "no request"},
    {"TLS", "\x16\x03\x01\x02\r\n\r\n", 400, "no request"},
    {"an expectation",
     "POST /api/things/a HTTP/1.1\r\n{host}{own}{json}Expect: miracles\r\n{cookie}\r\n{}", 400,
     "expects"},
};

TEST(ForgedRequests, ComeInOnlyWhereAllIsRight)
{
    web::ServerSettings settings = RunningDoor::PersonalSettings();
    settings.files = {{"/", ostrel::Path(ORDWICK_SOURCE "/tests/web/door/files"), true}};
    RunningDoor door(settings);
    const std::string cookie = door.OpenSession();
    for (const Forged &each : k_forged)
    {
        std::string request =
            each.request
                ? door.Filled(each.request, cookie)
                : door.Filled("GET /api/things/a HTTP/1.1\r\n{host}X: a") + '\0' + "b\r\n\r\n";
        const int before = door.Reached();
        const BareAnswer answer = AskBare(door.Port(), request);
        EXPECT_EQ(answer.status, each.status) << each.what;
        EXPECT_NE(answer.body.find(each.says), std::string::npos)
            << each.what << ": " << answer.body;
        EXPECT_EQ(door.Reached() - before, each.status == 200 ? 1 : 0) << each.what;
        EXPECT_FALSE(answer.fields.contains("Access-Control-Allow-Origin")) << each.what;
        if (each.status >= 400)
        {
            EXPECT_EQ(answer.Field("Content-Type"), "application/json") << each.what;
            EXPECT_FALSE(answer.fields.contains("Set-Cookie")) << each.what;
        }
    }
    EXPECT_EQ(AskBare(door.Port(), door.Get("/api/things/b", cookie)).status, 200);
}

// A body that one reader takes for a body and another for the next request.
TEST(ForgedRequests, HideNoSecondRequestInABodyThatIsRefused)
{
    RunningDoor door;
    const std::string hidden = door.Get("/api/things/hidden", RunningDoor::Bearer());
    BareHttp client(door.Port());
    client.Send(door.Filled("POST /api/things/a HTTP/1.1\r\n{host}"
                            "Content-Type: text/plain\r\nContent-Length: ") +
                std::to_string(hidden.size()) + "\r\n" + RunningDoor::Bearer() + "\r\n" + hidden);
    const BareAnswer answer = client.Receive();
    EXPECT_EQ(answer.status, 415);
    EXPECT_EQ(answer.Field("Connection"), "close");
    EXPECT_EQ(client.ReceiveUntil("HTTP/1.1"), "");
    EXPECT_EQ(door.Reached(), 0);
}

} // namespace
