#pragma once

#include <atomic>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/web/door/BareHttp.h"
#include "web/door/Server.h"

/// Knows the tokens that it is told, or leaves a question open.
class FakeGatekeeper : public web::Gatekeeper
{
public:
    void AskWhose(const std::shared_ptr<const web::Caller> &caller, Told told) override
    {
        asked.push_back(caller->token);
        if (isSlow)
            open.push_back(std::move(told));
        else if (caller->token == "anna's")
            told({});
        else if (caller->token == "lost")
            told = nullptr;
        else
            told({401, "the Master does not know the token"});
    }
    void OnEnded(const std::shared_ptr<const web::Caller> &caller) override
    {
        ended.push_back(caller->token);
    }

    // Of the loop's thread.
    bool isSlow = false;
    std::vector<std::string> asked;
    std::vector<std::string> ended;
    std::vector<Told> open;
};

/// A server on a loop of its own. It has a route of each kind:
///
///   GET, POST /api/things/{thing}  the thing, the query's "as" and the body
///   GET /api/open                  open to all
///   GET /api/events                a stream
class RunningDoor
{
public:
    static inline const std::string k_token = "the token of a personal server";

    /// Personal, on 127.0.0.1, where nothing else is said.
    static web::ServerSettings PersonalSettings();

    explicit RunningDoor(const web::ServerSettings &settings = PersonalSettings(),
                         const std::function<void(web::Routes &)> &more = {});
    ~RunningDoor();

    /// Runs it on the loop's thread, and waits for it.
    template <typename Work> auto On(Work work)
    {
        std::packaged_task<std::invoke_result_t<Work>()> task(std::move(work));
        auto result = task.get_future();
        boost::asio::post(m_loop, [&task] { task(); });
        return result.get();
    }

    std::uint16_t Port() const
    {
        return m_port;
    }
    web::Server &Door()
    {
        return *m_server;
    }
    int Reached() const
    {
        return m_reached;
    }
    /// How many streams there are that nobody has closed.
    int OpenStreams() const
    {
        return m_openStreams;
    }
    /// To each stream.
    void Tell(const std::string &name, const std::string &json);

    /// With a Host that is right, and what else is given, each field with its end of line.
    std::string Get(const std::string &path, const std::string &fields = {}) const;
    std::string Post(const std::string &path, const std::string &body,
                     const std::string &fields = {}) const;
    std::string SameOrigin() const;
    static std::string Bearer(const std::string &token = k_token);
    /// The field that proves who asks, of a session that it opens.
    std::string OpenSession();

    /// "{port}" and "{cookie}" in a text, and whole fields with their ends of line: "{host}",
    /// "{own}" origin, "{json}" of two bytes, "{bearer}".
    std::string Filled(std::string text, const std::string &cookie = {}) const;

    FakeGatekeeper gatekeeper;
    std::vector<std::shared_ptr<web::EventStream>> streams; // Of the loop's thread.

private:
    boost::asio::io_context m_loop{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> m_work{
        m_loop.get_executor()};
    std::atomic<int> m_reached{0};
    std::atomic<int> m_openStreams{0};
    std::uint16_t m_port = 0;
    std::unique_ptr<web::Server> m_server;
    std::jthread m_thread;
};
