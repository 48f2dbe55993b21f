#include "web/door/Routes.h"

#include <gtest/gtest.h>

using web::Method;
using web::Routes;

namespace
{

Routes SampleRoutes()
{
    const auto none = [](const std::shared_ptr<const web::Request> &, const web::Reply &) {};
    Routes routes;
    routes.Add(Method::Get, "/api/jobs", none);
    routes.Add(Method::Get, "/api/jobs/{job}", none);
    routes.Add(Method::Get, "/api/jobs/{job}/frames/{frame}", none);
    routes.Add(Method::Post, "/api/jobs/{job}/frames/all", none);
    routes.Add(Method::Get, "/api/jobs/all", none);
    routes.Add(Method::Post, "/api/jobs/{job}", none);
    routes.AddOpen(Method::Get, "/healthz", none);
    routes.AddStream("/api/events", [](const auto &, const auto &) {});
    return routes;
}

TEST(Routes, LeadWhereTheirPatternsSay)
{
    const Routes routes = SampleRoutes();
    const struct
    {
        Method method;
        std::vector<std::string> parts;
        const char *pattern; // Empty for none.
        const char *places;
        const char *allowed;
    } cases[] = {
        {Method::Get, {"api", "jobs"}, "/api/jobs", "", "GET, HEAD"},
        {Method::Get, {"api", "jobs", "7"}, "/api/jobs/{job}", "job=7 ", "GET, HEAD, POST"},
        {Method::Post, {"api", "jobs", "7"}, "/api/jobs/{job}", "job=7 ", "GET, HEAD, POST"},
        {Method::Get, {"api", "jobs", "all"}, "/api/jobs/all", "", "GET, HEAD"},
        {Method::Post, {"api", "jobs", "all"}, "", "", "GET, HEAD"},
        {Method::Get, {"api", "jobs", "a/b"}, "/api/jobs/{job}", "job=a/b ", "GET, HEAD, POST"},
        {Method::Get, {"api", "jobs", ""}, "", "", ""},
        {Method::Get, {"api", "jobs", "7", ""}, "", "", ""},
        {Method::Get, {"API", "jobs"}, "", "", ""},
        {Method::Get,
         {"api", "jobs", "7", "frames", "8"},
         "/api/jobs/{job}/frames/{frame}",
         "frame=8 job=7 ",
         "GET, HEAD"},
        {Method::Post,
         {"api", "jobs", "7", "frames", "all"},
         "/api/jobs/{job}/frames/all",
         "job=7 ",
         "POST"},
        {Method::Get, {"api", "jobs", "7", "frames", "all"}, "", "", "POST"},
        {Method::Get, {"healthz"}, "/healthz", "", "GET, HEAD"},
        {Method::Get, {"api", "events"}, "/api/events", "", "GET"},
        {Method::Get, {}, "", "", ""},
        {Method::Get, {""}, "", "", ""},
    };
    for (const auto &[method, parts, pattern, places, allowed] : cases)
    {
        const Routes::Found found = routes.Find(method, parts);
        std::string shown;
        for (const auto &[name, value] : found.places)
            shown += name + "=" + value + " ";
        const std::string name = testing::PrintToString(parts);
        EXPECT_EQ(found.route ? found.route->pattern : "", pattern) << name;
        EXPECT_EQ(shown, places) << name;
        EXPECT_EQ(found.allowed, allowed) << name;
    }
}

TEST(Routes, AreOpenOnlyWhereThatWasSaid)
{
    const Routes routes = SampleRoutes();
    EXPECT_TRUE(routes.Find(Method::Get, {"healthz"}).route->isOpen);
    EXPECT_FALSE(routes.Find(Method::Get, {"api", "jobs"}).route->isOpen);
    EXPECT_FALSE(routes.Find(Method::Get, {"api", "events"}).route->isOpen);
}

} // namespace
