#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "web/door/Head.h"
#include "web/door/Refusal.h"

namespace web
{

/// What has to hold of a request whoever sends it. Nothing here knows sessions.
class Guard
{
public:
    /// `scheme`: "http" or "https". `names` are those of this server, without ports; an address of
    /// IPv6 stands in brackets.
    Guard(std::string scheme, const std::vector<String> &names, std::uint16_t port);

    /// Its form (400), its method (405), and that it was sent to this server by name (421): a page
    /// of another name may have that name lead here.
    std::optional<Refusal> CheckHead(const Head &head) const;

    /// That no page of another site has sent it (403). What changes something must prove that it
    /// comes from a page of this server, but where it has a token: that no browser adds by itself.
    std::optional<Refusal> CheckSite(const Head &head, bool isChange) const;

    /// Of what changes something: a body of JSON (415), of known length or in pieces. A page of
    /// another site cannot send that without asking first, and is refused that.
    static std::optional<Refusal> CheckBody(const Head &head);

private:
    const std::string m_scheme;
    std::vector<std::string> m_hosts; // "localhost:8080", in lower case.
};

/// The token of "Authorization: Bearer TOKEN"; empty for any other.
std::string_view BearerOf(const Head &head);

/// All values of a cookie's name. A page on another port of this machine can set one of that name,
/// too.
std::vector<std::string_view> CookiesOf(const Head &head, std::string_view name);

/// Whether the answer with this tag is what the asker has already.
bool HasTag(std::string_view ifNoneMatch, std::string_view tag);

} // namespace web
