// Bytes for the door of the web server, cut anywhere: the reader of requests, the guard, the
// address and the table of routes. What they make of them is the same however they are cut, keeps
// to its limits, and lets nothing in that is not right.
#include <algorithm>
#include <cstdint>
#include <fuzzer/FuzzedDataProvider.h>
#include <string>

#include "fuzz/Require.h"
#include "web/door/Guard.h"
#include "web/door/RequestReader.h"
#include "web/door/Routes.h"
#include "web/door/Target.h"

using web::Guard;
using web::Head;
using web::Method;
using web::RequestReader;
using web::Routes;

namespace
{

constexpr std::size_t k_header_bytes = 2000;
constexpr std::size_t k_target_bytes = 500;
constexpr std::size_t k_body_bytes = 300;

const Routes &SampleRoutes()
{
    static const Routes s_routes = []
    {
        const auto none = [](const std::shared_ptr<const web::Request> &, const web::Reply &) {};
        Routes routes;
        routes.Add(Method::Get, "/api/jobs", none);
        routes.Add(Method::Get, "/api/jobs/{job}", none);
        routes.Add(Method::Get, "/api/jobs/{job}/frames/{frame}", none);
        routes.Add(Method::Post, "/api/jobs/{job}/requeue", none);
        routes.AddOpen(Method::Get, "/healthz", none);
        return routes;
    }();
    return s_routes;
}

bool IsOneOf(std::string_view text, std::initializer_list<std::string_view> all)
{
    return std::find(all.begin(), all.end(), text) != all.end();
}

// What has come in is what it has to be, told in other words than those of the guard.
void RequireRight(const Head &head)
{
    std::string host(head.host.value_or(""));
    std::transform(host.begin(), host.end(), host.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? char(c + 32) : c; });
    Require(IsOneOf(host, {"localhost:8080", "127.0.0.1:8080"}), "the host is this server");
    Require(IsOneOf(head.method, {"GET", "HEAD", "POST"}), "the method is one of three");
    const bool isPost = head.method == "POST";
    const std::string origin = "http://" + std::string(head.host.value_or(""));
    Require(!head.origin || *head.origin == origin, "the origin is this server");
    Require(!head.fetchSite || *head.fetchSite == "same-origin" ||
                (!isPost && *head.fetchSite == "none"),
            "no other site has sent it");
    Require(!isPost || head.origin || head.fetchSite || !web::BearerOf(head).empty(),
            "a change says where it comes from");
}

void LookAtTarget(const Head &head)
{
    ostrel::String reason;
    const auto target = web::ParseTarget(head.target, &reason);
    Require(target.has_value() == reason.empty(), "what is refused has a reason");
    if (!target)
        return;
    Require(!target->parts.empty(), "a path has a part");
    for (const std::string &part : target->parts)
        Require(web::IsUtf8(part) && part.find('\0') == std::string::npos, "a part is text");
    for (const auto &[name, value] : target->query)
        Require(web::IsUtf8(name) && web::IsUtf8(value), "a query is text");
    const auto found =
        SampleRoutes().Find(head.method == "POST" ? Method::Post : Method::Get, target->parts);
    Require(!found.route || !found.allowed.empty(), "a route has a method");
    for (const auto &[name, value] : found.places)
        Require(!value.empty(), "a place is taken");
}

/// What a connection says, in one line a request, and the sentence that it ends with.
class Told
{
public:
    void Take(std::string_view bytes)
    {
        m_reader.Take(bytes);
        while (!m_isOver && (m_isInBody ? ReadBody() : ReadHead()))
            continue;
    }
    const std::string &Text() const
    {
        return m_text;
    }

private:
    bool ReadHead()
    {
        switch (m_reader.ReadHead())
        {
        case RequestReader::Progress::NeedsMore:
            return false;
        case RequestReader::Progress::IsRefused:
            return End();
        case RequestReader::Progress::IsThere:
            break;
        }
        static const Guard s_guard("http", {"localhost", "127.0.0.1"}, 8080);
        const Head &head = m_reader.GetHead();
        Require(head.target.size() <= k_target_bytes, "a long address is refused");
        m_text += std::string(head.method) + " " + std::string(head.target) + "\n";
        const auto refused = s_guard.CheckHead(head);
        const auto refusedSite = s_guard.CheckSite(head, head.method == "POST");
        if (!refused && !refusedSite)
            RequireRight(head);
        Guard::CheckBody(head);
        web::CookiesOf(head, "corvan-8080");
        web::HasTag(head.ifNoneMatch, "\"tag\"");
        LookAtTarget(head);
        // The server reads nothing more of who sends what it does not know.
        if (refused)
        {
            m_isOver = true;
            return false;
        }
        m_isInBody = true;
        return true;
    }

    bool ReadBody()
    {
        if (m_reader.GetHead().HasBody())
            switch (m_reader.ReadBody(k_body_bytes))
            {
            case RequestReader::Progress::NeedsMore:
                return false;
            case RequestReader::Progress::IsRefused:
                return End();
            case RequestReader::Progress::IsThere:
                break;
            }
        const std::string body = m_reader.TakeBody();
        Require(body.size() <= k_body_bytes, "a long body is refused");
        m_text += body + "\n";
        m_reader.Next();
        m_isInBody = false;
        return true;
    }

    bool End()
    {
        Require(m_reader.Why().status >= 400 && !m_reader.Why().sentence.empty(),
                "what is refused has a reason");
        m_text += m_reader.Why().sentence;
        m_isOver = true;
        return false;
    }

    RequestReader m_reader{k_header_bytes, k_target_bytes};
    std::string m_text;
    bool m_isInBody = false;
    bool m_isOver = false;
};

std::string MakeBytes(FuzzedDataProvider &input)
{
    static const char *const s_parts[] = {"GET ",
                                          "HEAD ",
                                          "POST ",
                                          "PUT ",
                                          "/api/jobs",
                                          "/api/jobs/7/frames/8",
                                          "/api/jobs/%e2%82%ac/requeue",
                                          "?format=1&exact=%31",
                                          "/../",
                                          "http://localhost:8080/",
                                          " HTTP/1.1\r\n",
                                          " HTTP/1.0\r\n",
                                          "\r\n",
                                          "\r\n\r\n",
                                          "Host: localhost:8080\r\n",
                                          "Host: 127.0.0.1:8080\r\n",
                                          "Host: evil.example\r\n",
                                          "Origin: http://localhost:8080\r\n",
                                          "Origin: http://evil.example\r\n",
                                          "Origin: null\r\n",
                                          "Sec-Fetch-Site: same-origin\r\n",
                                          "Sec-Fetch-Site: cross-site\r\n",
                                          "Sec-Fetch-Site: none\r\n",
                                          "Authorization: Bearer token\r\n",
                                          "Cookie: a=b; corvan-8080=1;corvan-8080=2\r\n",
                                          "If-None-Match: W/\"tag\", *\r\n",
                                          "Content-Type: application/json\r\n",
                                          "Content-Length: 5\r\n",
                                          "Content-Length: 18446744073709551615\r\n",
                                          "Transfer-Encoding: chunked\r\n",
                                          "Expect: 100-continue\r\n",
                                          "5\r\nhello\r\n",
                                          "12c;a=\"b\"\r\n",
                                          "0\r\nTrailer: a\r\n\r\n"};
    std::string bytes;
    while (input.remaining_bytes() > 0 && bytes.size() < 20'000)
    {
        if (input.ConsumeIntegralInRange(0, 4) == 0)
            bytes += input.ConsumeRandomLengthString(400);
        else
            bytes += input.PickValueInArray(s_parts);
    }
    return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    const std::size_t piece = input.ConsumeIntegralInRange<std::size_t>(1, 3000);
    const std::string bytes =
        input.ConsumeBool() ? input.ConsumeRemainingBytesAsString() : MakeBytes(input);

    Told cut;
    Told byByte;
    for (std::size_t at = 0; at < bytes.size(); at += piece)
        cut.Take(std::string_view(bytes).substr(at, piece));
    for (const char &byte : bytes)
        byByte.Take({&byte, 1});
    Require(cut.Text() == byByte.Text(), "it means the same however it is cut");
    return 0;
}
