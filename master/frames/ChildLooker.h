#pragma once

#include <boost/asio/io_context.hpp>
#include <map>
#include <memory>
#include <optional>

#include "master/frames/FrameLooker.h"
#include "master/run/CommandRunner.h"
#include "master/run/LocalRunner.h"

namespace master
{

/// Has frames looked at by `corvan-check`, a process each, held by a `corvan-task` as a render
/// command is, as the same user, and standing back behind those.
class ChildLooker : public FrameLooker, private RunListener
{
public:
    /// What a look prints is in `folder`, the Master's own, until it is read; what an earlier
    /// Master has left there goes. `user`: see `LocalRunner`. `program` is what looks, and is not
    /// taken at its word (`check/ReadAnswer.h`).
    ChildLooker(boost::asio::io_context &loop, Path folder, std::optional<CommandUser> user = {},
                Path program = Program());
    /// `corvan-check`, beside the Master.
    static Path Program();

    void Start(int look, const check::LookRequest &request, LookListener &listener) override;
    void End(int look) override;
    std::chrono::seconds LimitOf(const check::LookRequest &request) const override;

    /// What is run for a look, with its limits.
    Command CommandFor(int look, const check::LookRequest &request,
                       std::vector<std::string> arguments) const;

private:
    struct Look
    {
        Path printed;
        check::LookRequest request;
        LookListener *listener = nullptr;
    };

    void OnStarted(int run) override;
    void OnEnded(int run, const RunEnd &end) override;
    void TellLater(int look, const String &trouble);
    void Tell(int look, const check::LookAnswer &answer);
    Path PrintedBy(int look) const;

    boost::asio::io_context &m_loop;
    const Path m_folder;
    const Path m_program;
    std::map<int, Look> m_looks;
    bool m_isTidy = false;           // Nothing is left of an earlier Master.
    std::shared_ptr<bool> m_isThere; // Shared with what was posted.
    LocalRunner m_runner;
};

} // namespace master
