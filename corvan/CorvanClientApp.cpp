#include "corvan/CorvanClientApp.h"

#include <cassert>
#include <cstdlib>

#include "corvan/ClientKind.h"
#include "corvan/GrpcLink.h"
#include "corvan/JobFactory.h"
#include "corvan/Messenger.h"
#include "corvan/PersonalMaster.h"
#include "ostrel/Exception.h"
#include "ostrel/Folders.h"
#include "ostrel/LibStatic.h"
#include "ostrel/Log.h"

namespace corvan
{

namespace
{

/// What this program starts (a job's commands, the Master) asks the same Master, and finds the
/// system's other programs, which need not be on the user's PATH.
void SetEnvironmentOfStarted(const MasterAddress &address)
{
    setenv("CORVAN_MASTER", address.text.c_str(), true);

    const String folder = ostrel::ProgramFolder().Text();
    const char *path = std::getenv("PATH");
    const String folders = path ? path : "/usr/local/bin:/usr/bin:/bin";
    if ((":" + folders + ":").find(":" + folder + ":") == String::npos)
        setenv("PATH", (folders + ":" + folder).c_str(), true);
}

} // namespace

CorvanClientApp::~CorvanClientApp() = default;

bool CorvanClientApp::Prepare(const CommandLine &commandLine)
{
    m_isPrepared = StartCorvan(commandLine);
    return m_isPrepared;
}

bool CorvanClientApp::Startup(CommandLine &commandLine)
{
    if (!m_isPrepared)
        return false;

    if (Messenger::ClientIdentity().IsNil())
        Messenger::SetClientInfo(UID(true), k_ClientCommandLine);
    m_link = FindLink(commandLine);
    if (!m_link)
        return false;

    JobFactory::s_JobFactory.LoadInstalledTypes();
    m_isStarted = true;
    ostrel::LibStatic::NotifyStartup(commandLine);
    return true;
}

void CorvanClientApp::StartMessenger()
{
    assert(m_link && "it is started once, after the program");
    Messenger::Start(std::move(m_link), [this] { WakeUp(); });
}

void CorvanClientApp::Cleanup()
{
    Messenger::Stop();
    m_link.reset();
    if (m_isStarted)
        ostrel::LibStatic::NotifyCleanup();
    m_isStarted = false;
    ostrel::LogStop();
}

std::unique_ptr<Link> CorvanClientApp::FindLink(const CommandLine &commandLine)
{
    try
    {
        const auto address = FindMaster(commandLine);
        if (!address)
            return nullptr;
        ostrel::LogInfo("The Master is looked for at " + address->text);
        SetEnvironmentOfStarted(*address);
        m_address = address;
        return MakeLink(*address);
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        ostrel::LogFatal(error->Text());
        return nullptr;
    }
}

std::optional<MasterAddress> CorvanClientApp::FindMaster(const CommandLine &commandLine)
{
    String text = commandLine.GetArgument("master", 0, "");
    // An empty one that was given is no address: a script whose variable is not set must not meet
    // another Master.
    const bool isGiven = commandLine.HasOption("master");
    if (const char *set = std::getenv("CORVAN_MASTER"); !isGiven && set)
        text = set;
    if (!isGiven && text.empty())
        text = Options().GetValue("Master", "Address", String());
    if (!isGiven && text.empty())
    {
        // Whoever can put a socket file there can give this user's window commands to run.
        ostrel::MakePrivateFolder(ostrel::RuntimeFolder());
        text = MasterAddress::Default().text;
    }

    String reason;
    auto address = MasterAddress::Parse(text, &reason);
    if (!address)
        ostrel::LogFatal(reason);
    return address;
}

std::unique_ptr<Link> CorvanClientApp::MakeLink(const MasterAddress &address)
{
    GrpcLink::Settings settings;
    settings.address = address;
    settings.identity = {Messenger::ClientIdentity(), Messenger::ClientKindNumber(), Name(),
                         Version()};
    if (address.kind == MasterAddress::Kind::Tcp)
        settings.security = TcpSecurity::Load(Options());
    settings.leastProtocol = LeastProtocol();
    if (address == MasterAddress::Default() && MayStartMaster() &&
        Options().GetValue("Master", "AutoStart", true))
        settings.nobodyThere = [] { StartPersonalMaster(); };
    return std::make_unique<GrpcLink>(std::move(settings));
}

unsigned CorvanClientApp::LeastProtocol() const
{
    return k_LeastProtocol;
}

std::unique_ptr<Link> CorvanClientApp::TakeLink()
{
    assert(m_link && "it is taken once, after the start");
    return std::move(m_link);
}

std::unique_ptr<Link> CorvanClientApp::MakeLinkOf(const String &token)
{
    assert(m_address && "the way to the Master is found at the start");
    GrpcLink::Settings settings;
    settings.address = *m_address;
    settings.identity = {UID(true), Messenger::ClientKindNumber(), Name(), Version()};
    if (m_address->kind == MasterAddress::Kind::Tcp)
        settings.security = TcpSecurity::Load(Options());
    settings.security.token = token;
    settings.leastProtocol = LeastProtocol();
    return std::make_unique<GrpcLink>(std::move(settings));
}

} // namespace corvan
