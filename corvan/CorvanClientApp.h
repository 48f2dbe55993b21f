#pragma once

#include <memory>
#include <optional>

#include "corvan/CorvanApp.h"
#include "corvan/MasterAddress.h"

namespace corvan
{

class Link;

/// A program that is a client of the Master.
///
/// The program's frame (a GUI base or a command line's `main`) calls `Prepare`, then `Startup`;
/// when that was true it calls `StartMessenger`, raises `CorvanAppStartupEvt` and runs its loop,
/// which calls `Messenger::Dispatch` whenever it is woken; at the end it calls `Cleanup`, also when
/// `Startup` was false.
class CorvanClientApp : public CorvanApp
{
public:
    using CorvanApp::CorvanApp;
    ~CorvanClientApp() override;

    /// Log, search folders, options, path map. Before anything else. False, with the reason
    /// logged, where `Startup` will be false for it.
    bool Prepare(const CommandLine &commandLine);

    /// Finds the way to the Master, reads the job types and tells the library statics. False, with
    /// the reason logged as fatal, when that cannot be: a bad --master or --log-level, say. Nothing
    /// is connected, and no personal Master started, before `StartMessenger`: a program may still
    /// find that it has nothing to ask.
    ///
    /// The Master's address is that of --master, else of the environment's CORVAN_MASTER, else of
    /// key "Address" in section "Master" of the options, else the personal Master's. An empty text
    /// is none. A client that nobody described (`Messenger::SetClientInfo`) is a command line with
    /// an identity made anew.
    virtual bool Startup(CommandLine &commandLine);

    /// Starts the messenger. Once, after a `Startup` that was true. Not being connected is no
    /// failure.
    void StartMessenger();

    /// Stops the messenger, tells the library statics, ends the log.
    virtual void Cleanup();

protected:
    /// Asks the program's event loop, from any thread, to call `Messenger::Dispatch`.
    virtual void WakeUp() = 0;

    /// Whether a personal Master is started where nobody answers at the default address, and the
    /// options do not forbid it (key "AutoStart" of section "Master").
    virtual bool MayStartMaster() const
    {
        return true;
    }

    /// The oldest protocol that a Master may speak.
    virtual unsigned LeastProtocol() const;

    /// Makes the link that `StartMessenger` gives to the messenger. Tests give another.
    virtual std::unique_ptr<Link> MakeLink(const MasterAddress &address);

    /// The link that `StartMessenger` would start, for who runs it without the messenger. After a
    /// `Startup` that was true; once.
    std::unique_ptr<Link> TakeLink();
    /// Another one to the same Master, which brings this token: it is another user's. Throws
    /// `ostrel::Exception *`.
    std::unique_ptr<Link> MakeLinkOf(const String &token);

private:
    std::optional<MasterAddress> FindMaster(const CommandLine &commandLine);
    std::unique_ptr<Link> FindLink(const CommandLine &commandLine);

    bool m_isPrepared = false;
    bool m_isStarted = false;
    std::optional<MasterAddress> m_address;
    std::unique_ptr<Link> m_link; ///< From `Startup` to `StartMessenger`.
};

} // namespace corvan
