#include "web/door/Listening.h"

#include <algorithm>
#include <boost/asio/ip/v6_only.hpp>

#include "ostrel/Attempt.h"
#include "ostrel/Exception.h"

namespace web
{

using boost::asio::ip::tcp;
using boost::system::error_code;
using ostrel::Exception;

namespace
{

String WithoutBrackets(const String &host)
{
    return host.starts_with('[') && host.ends_with(']') ? String(host.substr(1, host.size() - 2))
                                                        : host;
}

// As it stands in a URL.
String NameOf(const String &host)
{
    return host.find(':') != String::npos && !host.starts_with('[') ? String("[" + host + "]")
                                                                    : host;
}

String PlaceOf(const ServerSettings &settings)
{
    return NameOf(settings.host) + ":" + std::to_string(settings.port);
}

std::vector<tcp::endpoint> Resolve(boost::asio::io_context &loop, const ServerSettings &settings)
{
    tcp::resolver resolver(loop);
    error_code error;
    const auto found =
        resolver.resolve(WithoutBrackets(settings.host).c_str(), std::to_string(settings.port),
                         tcp::resolver::passive, error);
    if (error)
        throw new Exception("cannot listen at " + PlaceOf(settings) + ": " + error.message());
    std::vector<tcp::endpoint> endpoints;
    for (const auto &each : found)
        if (std::find(endpoints.begin(), endpoints.end(), each.endpoint()) == endpoints.end())
            endpoints.push_back(each.endpoint());
    return endpoints;
}

void RequireSafe(const std::vector<tcp::endpoint> &endpoints, const ServerSettings &settings)
{
    const bool isLoopback =
        std::all_of(endpoints.begin(), endpoints.end(),
                    [](const auto &each) { return each.address().is_loopback(); });
    if (!isLoopback && !settings.tls)
        throw new Exception("cannot listen at " + PlaceOf(settings) +
                            ": beyond this machine it needs TLS, a certificate and its key");
    const bool isEverywhere =
        std::any_of(endpoints.begin(), endpoints.end(),
                    [](const auto &each) { return each.address().is_unspecified(); });
    if (isEverywhere && settings.names.empty())
        throw new Exception("cannot listen at " + PlaceOf(settings) +
                            ": it needs the names by which browsers get here");
}

tcp::acceptor OpenAt(boost::asio::io_context &loop, const tcp::endpoint &endpoint)
{
    tcp::acceptor acceptor(loop);
    acceptor.open(endpoint.protocol());
    acceptor.set_option(tcp::acceptor::reuse_address(true));
    if (endpoint.address().is_v6())
        acceptor.set_option(boost::asio::ip::v6_only(true));
    acceptor.bind(endpoint);
    acceptor.listen();
    return acceptor;
}

std::vector<String> NamesOf(const std::vector<tcp::endpoint> &endpoints,
                            const ServerSettings &settings)
{
    std::vector<String> names;
    const auto add = [&](const String &name)
    {
        if (std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(name);
    };
    if (!endpoints.front().address().is_unspecified())
        add(NameOf(settings.host));
    for (const String &name : settings.names)
        add(NameOf(name));
    for (const tcp::endpoint &each : endpoints)
        if (each.address().is_loopback())
        {
            add(NameOf(each.address().to_string()));
            add("localhost");
        }
    return names;
}

} // namespace

Listening ListenAt(boost::asio::io_context &loop, const ServerSettings &settings)
{
    std::vector<tcp::endpoint> endpoints = Resolve(loop, settings);
    RequireSafe(endpoints, settings);
    Listening listening;
    listening.port = settings.port;
    String trouble;
    for (tcp::endpoint &each : endpoints)
    {
        each.port(listening.port);
        const auto reason =
            ostrel::Attempt([&] { listening.acceptors.push_back(OpenAt(loop, each)); });
        // A machine without IPv6 has names of it all the same.
        if (reason)
            trouble = *reason;
        else
            listening.port = listening.acceptors.back().local_endpoint().port();
    }
    if (listening.acceptors.empty())
        throw new Exception("cannot listen at " + PlaceOf(settings) + ": " + trouble);
    listening.names = NamesOf(endpoints, settings);
    return listening;
}

} // namespace web
