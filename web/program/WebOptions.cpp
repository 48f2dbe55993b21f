#include "web/program/WebOptions.h"

#include <charconv>

#include "ostrel/UID.h"

namespace web
{

namespace
{

// "HOST:PORT", where an address of IPv6 stands in brackets.
void ReadListen(const String &text, WebOptions &options)
{
    const std::size_t colon = text.rfind(':');
    const char *const end = text.data() + text.size();
    const char *const begin = colon == String::npos ? end : text.data() + colon + 1;
    const auto [stopped, error] = std::from_chars(begin, end, options.port);
    if (colon == 0 || begin == end || error != std::errc() || stopped != end)
        throw new UsageException("--listen " + text +
                                 ": it has to be HOST:PORT, with a port from 0 to 65535");
    options.host = text.substr(0, colon);
    const bool hasBrackets = options.host.starts_with('[') && options.host.ends_with(']');
    if (options.host.find(':') != String::npos && !hasBrackets)
        throw new UsageException("--listen " + text +
                                 ": an address of IPv6 stands in brackets, [::1]:8443");
}

String TextOf(const CommandLine &commandLine, const char *option)
{
    const String text = commandLine.GetArgument(option, 0, {});
    if (commandLine.HasOption(option) && text.empty())
        throw new UsageException(String("--") + option + ": the value is empty");
    return text;
}

} // namespace

std::span<const ostrel::CommandLineOption> WebCommandLineOptions()
{
    static const std::vector<ostrel::CommandLineOption> options = []
    {
        std::vector<ostrel::CommandLineOption> all{
            {"listen", "HOST:PORT", "serve a studio there; beyond loopback with a certificate"},
            {"host-name", "HOST", "a name by which browsers come here; may be given several times"},
            {"certificate", "FILE", "PEM of the certificate that browsers are shown"},
            {"key", "FILE", "PEM of its key"},
            {"token-file", "FILE", "the server's own token of a Master beyond the machine"},
            {"job", "ID", "what the link of a personal server leads to"},
        };
        for (const ostrel::CommandLineOption &option : ostrel::CommonOptions())
            all.push_back(option);
        return all;
    }();
    return options;
}

WebOptions ReadWebOptions(const CommandLine &commandLine)
{
    if (commandLine.CountPlain() > 0)
        throw new UsageException("unexpected argument " + commandLine.GetArgument(nullptr, 0, {}));

    WebOptions options;
    options.isPersonal = !commandLine.HasOption("listen");
    options.job = TextOf(commandLine, "job");
    options.tokenFile = TextOf(commandLine, "token-file");
    ostrel::UID id;
    if (!options.job.empty() && !id.FromString(options.job))
        throw new UsageException("--job " + options.job + ": it has to be a job's identifier");
    if (options.isPersonal)
    {
        for (const char *const option : {"host-name", "certificate", "key"})
            if (commandLine.HasOption(option))
                throw new UsageException(String("--") + option + " goes with --listen");
        return options;
    }

    if (!options.job.empty())
        throw new UsageException("--job is for a personal server alone");
    ReadListen(TextOf(commandLine, "listen"), options);
    for (int index = 0;; ++index)
    {
        const String name = commandLine.GetArgument("host-name", index, {});
        if (name.empty())
            break;
        options.names.push_back(name);
    }
    const String certificate = TextOf(commandLine, "certificate");
    const String key = TextOf(commandLine, "key");
    if (certificate.empty() != key.empty())
        throw new UsageException("--certificate and --key go together");
    if (!certificate.empty())
        options.tls = TlsPair{certificate, key};
    return options;
}

} // namespace web
