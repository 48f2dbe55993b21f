#include "web/door/Routes.h"

#include <cassert>

#include "ostrel/CallEntry.h"

namespace web
{

using ostrel::_CallEntry;

namespace
{

std::vector<std::string> PartsOf(const std::string &pattern)
{
    std::vector<std::string> parts;
    for (std::size_t slash = 0; slash < pattern.size();)
    {
        const std::size_t next = std::min(pattern.find('/', slash + 1), pattern.size());
        parts.push_back(pattern.substr(slash + 1, next - slash - 1));
        slash = next;
    }
    return parts;
}

bool IsPlace(const std::string &part)
{
    return part.starts_with('{');
}

bool Fits(const std::vector<std::string> &pattern, const std::vector<std::string> &parts)
{
    if (pattern.size() != parts.size())
        return false;
    for (std::size_t i = 0; i < parts.size(); ++i)
        if (IsPlace(pattern[i]) ? parts[i].empty() : pattern[i] != parts[i])
            return false;
    return true;
}

// Of two patterns that fit the same path.
bool IsCloser(const std::vector<std::string> &pattern, const std::vector<std::string> &other)
{
    for (std::size_t i = 0; i < pattern.size(); ++i)
        if (IsPlace(pattern[i]) != IsPlace(other[i]))
            return IsPlace(other[i]);
    return false;
}

std::map<std::string, std::string> PlacesOf(const std::vector<std::string> &pattern,
                                            const std::vector<std::string> &parts)
{
    std::map<std::string, std::string> places;
    for (std::size_t i = 0; i < parts.size(); ++i)
        if (IsPlace(pattern[i]))
            places[pattern[i].substr(1, pattern[i].size() - 2)] = parts[i];
    return places;
}

} // namespace

void Routes::Add(Method method, const std::string &pattern, Handler handler)
{
    _CallEntry call("Routes::Add", __FILE__, __LINE__);

    AddRoute({.method = method, .pattern = pattern, .parts = {}, .handler = std::move(handler)});
}

void Routes::AddOpen(Method method, const std::string &pattern, Handler handler)
{
    _CallEntry call("Routes::AddOpen", __FILE__, __LINE__);

    AddRoute({.method = method,
              .pattern = pattern,
              .parts = {},
              .isOpen = true,
              .handler = std::move(handler)});
}

void Routes::AddStream(const std::string &pattern, StreamHandler handler)
{
    _CallEntry call("Routes::AddStream", __FILE__, __LINE__);

    AddRoute({.method = Method::Get,
              .pattern = pattern,
              .parts = {},
              .streamHandler = std::move(handler)});
}

void Routes::AddRoute(Route route)
{
    _CallEntry call("Routes::AddRoute", __FILE__, __LINE__);

    assert(route.pattern.starts_with('/') && "a pattern is a path");
    route.parts = PartsOf(route.pattern);
    m_routes.push_back(std::move(route));
}

void Routes::AdviseWhereTooLong(const std::string &pattern, const std::string &advice)
{
    _CallEntry call("Routes::AdviseWhereTooLong", __FILE__, __LINE__);

    for (Route &route : m_routes)
        if (route.pattern == pattern && route.method == Method::Post)
            route.whereTooLong = advice;
}

Routes::Found Routes::Find(Method method, const std::vector<std::string> &parts) const
{
    _CallEntry call("Routes::Find", __FILE__, __LINE__);

    // A word beats a place whatever the method: what it does not take, no other takes for it.
    const std::vector<std::string> *closest = nullptr;
    for (const Route &route : m_routes)
        if (Fits(route.parts, parts) && (!closest || IsCloser(route.parts, *closest)))
            closest = &route.parts;
    if (!closest)
        return {};

    Found found;
    for (const Route &route : m_routes)
    {
        if (route.parts != *closest)
            continue;
        if (route.method == method)
            found.route = &route;
        const bool isPost = route.method == Method::Post;
        found.allowed += (found.allowed.empty() ? "" : ", ");
        found.allowed += isPost ? "POST" : route.streamHandler ? "GET" : "GET, HEAD";
    }
    if (found.route)
        found.places = PlacesOf(*closest, parts);
    return found;
}

} // namespace web
