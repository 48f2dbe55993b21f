#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "web/door/Gatekeeper.h"
#include "web/door/Routes.h"
#include "web/door/ServerSettings.h"

namespace web
{

/// The door of a web server, which lives on the program's loop: HTTP/1.1, on loopback or over TLS.
///
/// A page on loopback is within reach of every web site that its user has open and of every user of
/// the machine. So a request has to name this server as its host, may change something by POST
/// alone, from a page of this server itself or with a token, and has to prove whose it is, but for
/// files that anybody may read and for routes that are open. A personal server answers 403 to all
/// that comes from another user of the machine, root aside, whatever proof it brings.
///
/// Beside what is in `Routes` it serves "POST /api/session" (a secret or a token for a cookie) and
/// "POST /api/session/end".
///
/// Made, used and deleted on the loop's thread. No handler is called after its end.
class Server
{
public:
    /// Listens from now on. Routes are copied; the gatekeeper outlives it. Throws
    /// `ostrel::Exception *` where it cannot listen, where it would be open beyond loopback without
    /// TLS, and for files that cannot be read.
    Server(boost::asio::io_context &loop, const ServerSettings &settings, const Routes &routes,
           Gatekeeper &gatekeeper);
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    std::uint16_t Port() const;
    /// "http://127.0.0.1:8080", what links to the page begin with.
    std::string Origin() const;

    /// A secret that opens a session of a personal server, once: for the fragment of a link. Of 16
    /// that nobody has used the oldest goes.
    String MakeSecret();

    /// Reads the certificate and its key anew, for connections from now on, where there is one.
    /// What cannot be used is logged, and the one before is used on.
    void RenewCertificate();

    /// The Master does not take its token any more: its requests are refused, its streams closed.
    void EndSession(const String &session);

    /// How long nobody has been here: since the last request of somebody who is known, and none
    /// while a page is told events.
    std::chrono::steady_clock::duration IdleFor() const;

private:
    class Parts;

    std::shared_ptr<Parts> m_parts; // With its conversations, the last of which end after it.
};

} // namespace web
