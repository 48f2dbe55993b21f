#include "tests/web/door/RunningDoor.h"

web::ServerSettings RunningDoor::PersonalSettings()
{
    web::ServerSettings settings;
    settings.personalToken = k_token;
    return settings;
}

RunningDoor::RunningDoor(const web::ServerSettings &settings,
                         const std::function<void(web::Routes &)> &more)
{
    web::Routes routes;
    const auto thing =
        [this](const std::shared_ptr<const web::Request> &request, const web::Reply &reply)
    {
        ++m_reached;
        const auto as = request->query.find("as");
        reply(web::JsonResponse(request->places.at("thing") + "|" +
                                (as == request->query.end() ? "" : as->second) + "|" +
                                request->body));
    };
    routes.Add(web::Method::Get, "/api/things/{thing}", thing);
    routes.Add(web::Method::Post, "/api/things/{thing}", thing);
    routes.AddOpen(web::Method::Get, "/api/open",
                   [this](const std::shared_ptr<const web::Request> &, const web::Reply &reply)
                   {
                       ++m_reached;
                       reply(web::JsonResponse("\"open\""));
                   });
    routes.AddStream("/api/events",
                     [this](const std::shared_ptr<const web::Request> &,
                            const std::shared_ptr<web::EventStream> &stream)
                     {
                         ++m_reached;
                         ++m_openStreams;
                         streams.push_back(stream);
                         stream->OnClosed([this] { --m_openStreams; });
                         stream->Send(
                             std::make_shared<const std::string>(web::EventText("master", "{}")));
                     });
    if (more)
        more(routes);
    m_server = std::make_unique<web::Server>(m_loop, settings, routes, gatekeeper);
    m_port = m_server->Port();
    m_thread = std::jthread([this] { m_loop.run(); });
}

RunningDoor::~RunningDoor()
{
    On([this] { m_server.reset(); });
    m_work.reset();
    m_loop.stop();
}

void RunningDoor::Tell(const std::string &name, const std::string &json)
{
    On(
        [&]
        {
            const auto text = std::make_shared<const std::string>(web::EventText(name, json));
            for (const auto &stream : streams)
                stream->Send(text);
        });
}

std::string RunningDoor::Get(const std::string &path, const std::string &fields) const
{
    return Filled("GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1:{port}\r\n" + fields + "\r\n");
}

std::string RunningDoor::Post(const std::string &path, const std::string &body,
                              const std::string &fields) const
{
    return Filled("POST " + path +
                  " HTTP/1.1\r\nHost: 127.0.0.1:{port}\r\nContent-Type: application/json\r\n"
                  "Content-Length: " +
                  std::to_string(body.size()) + "\r\n" + fields + "\r\n") +
           body;
}

std::string RunningDoor::SameOrigin() const
{
    return Filled("Origin: http://127.0.0.1:{port}\r\nSec-Fetch-Site: same-origin\r\n");
}

std::string RunningDoor::Bearer(const std::string &token)
{
    return "Authorization: Bearer " + token + "\r\n";
}

std::string RunningDoor::OpenSession()
{
    const std::string secret = On([this] { return std::string(m_server->MakeSecret()); });
    const BareAnswer answer =
        AskBare(m_port, Post("/api/session", "{\"secret\":\"" + secret + "\"}", SameOrigin()));
    const std::string cookie = answer.Field("Set-Cookie");
    return "Cookie: " + cookie.substr(0, cookie.find(';')) + "\r\n";
}

std::string RunningDoor::Filled(std::string text, const std::string &cookie) const
{
    const auto fill = [&](const std::string &name, const std::string &value)
    {
        for (std::size_t at = 0; (at = text.find(name, at)) != std::string::npos;
             at += value.size())
            text.replace(at, name.size(), value);
    };
    fill("{host}", "Host: 127.0.0.1:{port}\r\n");
    fill("{own}", "Origin: http://127.0.0.1:{port}\r\n");
    fill("{json}", "Content-Type: application/json\r\nContent-Length: 2\r\n");
    fill("{bearer}", Bearer());
    fill("{port}", std::to_string(m_port));
    fill("{cookie}", cookie);
    return text;
}
