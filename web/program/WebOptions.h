#pragma once

#include <span>

#include "ostrel/CommandLine.h"
#include "ostrel/Exception.h"
#include "web/door/ServerSettings.h"

namespace web
{

using ostrel::CommandLine;

/// The command line asks for what cannot be.
class UsageException : public ostrel::Exception
{
public:
    using Exception::Exception;
};

/// What `corvan-web` is asked for.
struct WebOptions
{
    /// Of one user, on loopback, until it was idle for 10 minutes; else of a studio.
    bool isPersonal = true;
    String job; ///< What the link of a personal one leads to; empty for all jobs.
    String tokenFile;
    String host = "127.0.0.1";
    std::uint16_t port = 0;
    std::vector<String> names{};
    std::optional<TlsPair> tls{};
};

/// All options of `corvan-web`, for its help too.
std::span<const ostrel::CommandLineOption> WebCommandLineOptions();

/// Throws `UsageException *`.
WebOptions ReadWebOptions(const CommandLine &commandLine);

} // namespace web
