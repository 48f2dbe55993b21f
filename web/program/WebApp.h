#pragma once

#include "corvan/CorvanClientApp.h"
#include "web/program/WebOptions.h"

namespace web
{

/// The program corvan-web: options in, a server running, an exit status out.
class WebApp : public corvan::CorvanClientApp
{
public:
    WebApp();
    ~WebApp() override;

    /// How long a personal server lives on after the last request, where key "IdleSeconds" of
    /// section "Page" says nothing else.
    static constexpr std::chrono::minutes k_PersonalIdle{10};

    /// Runs until a signal, or idleness, ends it. Once it listens it prints
    /// "corvan-web: listening on URL", and a personal one besides "link: URL" and "token: TOKEN",
    /// which nobody else is to see. False, with the reason logged, where it cannot begin. Throws
    /// `UsageException *` and `ostrel::Exception *`.
    bool Run(CommandLine commandLine);

protected:
    /// The farm has links of its own; nothing dispatches.
    void WakeUp() override {}
    unsigned LeastProtocol() const override;

private:
    void Serve(const WebOptions &options);
};

} // namespace web
