#include "web/program/WebApp.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <csignal>
#include <cstdio>
#include <functional>
#include <unistd.h>

#include "corvan/AnalysisOptions.h"
#include "corvan/ClientKind.h"
#include "corvan/GrpcChannel.h"
#include "corvan/Messenger.h"
#include "corvan/Protocol.h"
#include "decode/DecodeFiles.h"
#include "ostrel/DescriptorLimit.h"
#include "ostrel/Folders.h"
#include "ostrel/Log.h"
#include "ostrel/RunLoop.h"
#include "ostrel/UID.h"
#include "web/door/Secrets.h"
#include "web/door/Server.h"
#include "web/jobs/Farm.h"
#include "web/pictures/PictureRoute.h"

namespace web
{

namespace
{

// Where Debian's libjs-dygraphs is.
const char *const k_plots = "/usr/share/javascript/dygraphs";

constexpr int k_most_idle_seconds = 7 * 86'400;

std::vector<PublicFiles> FilesOfPage()
{
    const Path page = ostrel::ShareFolder() / "page";
    if (access(page.Text().c_str(), R_OK) != 0)
        ostrel::LogError("the page is not installed (" + page.Text() +
                         "): scripts alone are served");
    return {{"/", page, false},
            {"/lib/", k_plots, false},
            {"/icons/", ostrel::ShareFolder() / "icons", false}};
}

PictureSettings SettingsOfPictures()
{
    PictureSettings settings;
    settings.decoders.program = decode::DecoderProgram();
    settings.folder = ostrel::CacheFolder() / "CorvanWeb" / "pictures";
    return settings;
}

std::chrono::seconds ReadIdleTime(const ostrel::IniFile &options)
{
    const auto usual = std::chrono::seconds(WebApp::k_PersonalIdle).count();
    const int seconds = options.GetValue("Page", "IdleSeconds", int(usual));
    if (seconds < 1 || seconds > k_most_idle_seconds)
        throw new UsageException("IdleSeconds " + std::to_string(seconds) +
                                 ": it has to be a number from 1 to " +
                                 std::to_string(k_most_idle_seconds));
    return std::chrono::seconds(seconds);
}

// Ends the loop once nobody has been here for so long.
void EndWhenIdle(boost::asio::io_context &loop, boost::asio::steady_timer &timer,
                 const Server &server, std::chrono::milliseconds most)
{
    timer.expires_after(most / 20);
    timer.async_wait(
        [&, most](const boost::system::error_code &error)
        {
            if (error)
                return;
            if (server.IdleFor() < most)
                return EndWhenIdle(loop, timer, server, most);
            ostrel::LogStatus("nobody was here for a while");
            loop.stop();
        });
}

// Again with each signal.
void RenewOnSignal(boost::asio::signal_set &signals, Server &server)
{
    signals.async_wait(
        [&](const boost::system::error_code &error, int)
        {
            if (error)
                return;
            server.RenewCertificate();
            RenewOnSignal(signals, server);
        });
}

// What a personal server says is for whoever has started it; nobody reads any more once it does.
void TellLink(Server &server, const WebOptions &options, const String &token)
{
    const std::string place = options.job.empty() ? "/" : "/?job=" + std::string(options.job);
    std::printf("link: %s%s#secret=%s\ntoken: %s\n", server.Origin().c_str(), place.c_str(),
                server.MakeSecret().c_str(), token.c_str());
    std::fflush(stdout);
    // The pipe or the terminal that it was started from is not held open.
    if (!std::freopen("/dev/null", "w", stdout) || !std::freopen("/dev/null", "w", stderr))
        ostrel::LogWarning("standard output stays open");
}

} // namespace

WebApp::WebApp() : CorvanClientApp("CorvanWeb", ostrel::k_LogWarning, ostrel::k_LogInfo) {}

WebApp::~WebApp()
{
    Cleanup();
}

unsigned WebApp::LeastProtocol() const
{
    return corvan::k_FollowAllProtocol;
}

bool WebApp::Run(CommandLine commandLine)
{
    const WebOptions options = ReadWebOptions(commandLine);
    corvan::Messenger::SetClientInfo(ostrel::UID(true), corvan::k_ClientPage);
    if (!Prepare(commandLine))
        return false;
    if (!options.tokenFile.empty())
    {
        Options().InsertSection("Master");
        Options().SetValue("TokenFile", options.tokenFile);
    }
    if (!Startup(commandLine))
        return false;
    corvan::RouteGrpcLog();
    Serve(options);
    return true;
}

void WebApp::Serve(const WebOptions &options)
{
    const std::chrono::seconds idleTime = ReadIdleTime(Options());
    // A connection takes one, and so does each frame that is looked at.
    ostrel::RaiseDescriptorLimit();
    boost::asio::io_context loop;
    const corvan::AnalysisOptions analysis = corvan::ReadAnalysisOptions(Options());
    FarmSettings farmSettings;
    farmSettings.makeLink = [this](const String &token)
    { return token.empty() ? TakeLink() : MakeLinkOf(token); };
    farmSettings.isPersonal = options.isPersonal;
    farmSettings.rules = analysis::RulesOf(analysis);
    farmSettings.refresh = std::chrono::milliseconds(std::max(analysis.refreshMs, 1));
    Pictures pictures(loop, SettingsOfPictures());
    farmSettings.decode = [&pictures](const Path &image, auto told)
    {
        pictures.Get({image, std::nullopt}, [told](const Made &made)
                     { told(made.bytes ? *made.bytes : std::string(), made.reason); });
    };
    Farm farm(loop, farmSettings);
    Routes routes;
    farm.AddRoutes(routes);
    routes.Add(Method::Get, "/api/jobs/{job}/frames/{frame}/picture",
               PictureHandler(pictures, farm.Finder()));

    ServerSettings settings;
    settings.host = options.host;
    settings.port = options.port;
    settings.tls = options.tls;
    settings.names = options.names;
    settings.files = FilesOfPage();
    if (options.isPersonal)
        settings.personalToken = MakeSecretText();
    Server server(loop, settings, routes, farm.Users());
    farm.Users().SetEndSession([&server](const String &session) { server.EndSession(session); });

    boost::asio::signal_set signals(loop, SIGTERM, SIGINT);
    signals.async_wait(
        [&loop](const boost::system::error_code &error, int)
        {
            if (!error)
                loop.stop();
        });
    // Without a certificate it ends with its terminal, as any program does.
    boost::asio::signal_set renewals(loop);
    if (options.tls)
    {
        renewals.add(SIGHUP);
        RenewOnSignal(renewals, server);
    }
    const std::string line = "corvan-web: listening on " + server.Origin();
    std::puts(line.c_str());
    std::fflush(stdout);
    ostrel::LogStatus(line);
    boost::asio::steady_timer idle(loop);
    if (options.isPersonal)
    {
        TellLink(server, options, settings.personalToken);
        EndWhenIdle(loop, idle, server, idleTime);
    }
    ostrel::RunLoop(loop);
    farm.Users().SetEndSession({});
}

} // namespace web
