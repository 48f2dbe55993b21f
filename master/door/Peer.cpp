#include "master/door/Peer.h"

#include <arpa/inet.h>
#include <charconv>
#include <cstring>
#include <netinet/in.h>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace master
{

namespace
{

constexpr std::size_t k_site_bytes = 8; // One site has many addresses of IPv6.

Peer UnknownPeer(const std::string &text)
{
    return {text, "unknown", std::nullopt};
}

Peer PeerOfUser(uid_t user)
{
    const String text = "uid " + std::to_string(user);
    return {text, text, user};
}

Peer PeerOfIpv6(const in6_addr &address)
{
    char text[INET6_ADDRSTRLEN] = {};
    ::inet_ntop(AF_INET6, &address, text, sizeof text);
    if (IN6_IS_ADDR_V4MAPPED(&address) && std::strrchr(text, ':'))
    {
        const String bare = std::strrchr(text, ':') + 1;
        return {bare, bare, std::nullopt};
    }
    in6_addr site{};
    std::memcpy(&site, &address, k_site_bytes);
    char siteText[INET6_ADDRSTRLEN] = {};
    ::inet_ntop(AF_INET6, &site, siteText, sizeof siteText);
    return {text, siteText, std::nullopt};
}

Peer PeerOfIpv4(const in_addr &address)
{
    char text[INET_ADDRSTRLEN] = {};
    ::inet_ntop(AF_INET, &address, text, sizeof text);
    return {text, text, std::nullopt};
}

// "[2001:db8::1]" of "%5B2001:db8::1%5D", without its zone.
std::string BareIpv6(std::string text)
{
    if (text.starts_with("%5B") && text.ends_with("%5D"))
        text = text.substr(3, text.size() - 6);
    else if (text.starts_with('[') && text.ends_with(']'))
        text = text.substr(1, text.size() - 2);
    return text.substr(0, text.find('%'));
}

} // namespace

bool Peer::IsOwn() const
{
    return user && *user == ::geteuid();
}

String UserName(uid_t user)
{
    std::vector<char> room(16384);
    passwd entry{};
    passwd *found = nullptr;
    if (::getpwuid_r(user, &entry, room.data(), room.size(), &found) == 0 && found)
        return found->pw_name;
    return std::to_string(user);
}

Peer PeerOf(int socket)
{
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (::getpeername(socket, reinterpret_cast<sockaddr *>(&address), &size) != 0)
        return UnknownPeer("somebody");
    if (address.ss_family == AF_INET)
        return PeerOfIpv4(reinterpret_cast<const sockaddr_in &>(address).sin_addr);
    if (address.ss_family == AF_INET6)
        return PeerOfIpv6(reinterpret_cast<const sockaddr_in6 &>(address).sin6_addr);

    ucred who{};
    size = sizeof who;
    if (address.ss_family != AF_UNIX ||
        ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &who, &size) != 0)
        return UnknownPeer("somebody");
    return PeerOfUser(who.uid);
}

Peer PeerOfCall(const std::string &text)
{
    const std::size_t colon = text.find(':');
    const std::string kind = text.substr(0, colon);
    const std::string rest = colon == std::string::npos ? "" : text.substr(colon + 1);
    if (kind == "fd")
    {
        int number = -1;
        const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
        return error == std::errc() && end == rest.data() + rest.size() ? PeerOf(number)
                                                                        : UnknownPeer(text);
    }

    const std::string host = rest.substr(0, rest.rfind(':'));
    in_addr ipv4{};
    in6_addr ipv6{};
    if (kind == "ipv4" && ::inet_pton(AF_INET, host.c_str(), &ipv4) == 1)
        return PeerOfIpv4(ipv4);
    if (kind == "ipv6" && ::inet_pton(AF_INET6, BareIpv6(host).c_str(), &ipv6) == 1)
        return PeerOfIpv6(ipv6);
    return UnknownPeer(text);
}

} // namespace master
