#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "web/door/EventStream.h"
#include "web/door/Request.h"
#include "web/door/Response.h"

namespace web
{

using Handler = std::function<void(const std::shared_ptr<const Request> &, Reply)>;
using StreamHandler = std::function<void(const std::shared_ptr<const Request> &,
                                         const std::shared_ptr<EventStream> &)>;

/// The one table of what is served. Filled before the server begins; then only read.
class Routes
{
public:
    /// A row of it: one of the two handlers is there.
    struct Route
    {
        Method method = Method::Get;
        std::string pattern;
        std::vector<std::string> parts; ///< Of the pattern; a place with its braces.
        bool isOpen = false;
        Handler handler{};
        StreamHandler streamHandler{};
        std::string whereTooLong{}; ///< What to do then, of a body; empty for nothing to say.
    };

    /// What a path leads to.
    struct Found
    {
        const Route *route = nullptr; ///< Null where nothing has the path, or not for the method.
        std::map<std::string, std::string> places{};
        std::string allowed{}; ///< "GET, HEAD", "POST": of who has the path; empty for nobody.
    };

    /// `pattern`: "/api/jobs/{job}/frames"; a place in braces takes one part of the path, which is
    /// not empty. Of two that fit, the one with a word where the other has a place is taken. A
    /// handler that throws an `ostrel::Exception *` answers 500 and is logged; it throws a
    /// `HttpError *` (derived from it, with a status) for what is the asker's fault.
    void Add(Method method, const std::string &pattern, Handler handler);
    /// The same for who needs to prove nothing: /healthz.
    void AddOpen(Method method, const std::string &pattern, Handler handler);
    /// Asked by GET. A handler that throws before it has kept the stream answers as above.
    void AddStream(const std::string &pattern, StreamHandler handler);

    /// What one is told to do where the body is too long for the route of this pattern, which is
    /// there: "name less".
    void AdviseWhereTooLong(const std::string &pattern, const std::string &advice);

    /// By the parts of a path, decoded.
    Found Find(Method method, const std::vector<std::string> &parts) const;

private:
    void AddRoute(Route route);

    std::vector<Route> m_routes;
};

} // namespace web
