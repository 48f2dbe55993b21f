#include "master/door/Greeting.h"

#include "corvan/CorvanApp.h"
#include "corvan/Limits.h"
#include "corvan/Protocol.h"
#include "corvan/Utf8.h"

namespace master
{

using corvan::ProtocolOf;
namespace wire = corvan::wire;

namespace
{

grpc::Status TurnedAway(const String &reason)
{
    return {grpc::StatusCode::INVALID_ARGUMENT, reason};
}

} // namespace

grpc::Status CheckHello(const wire::Envelope &envelope, unsigned leastProtocol)
{
    if (!envelope.has_hello())
        return TurnedAway("the first message has to be Hello");
    const wire::Hello &hello = envelope.hello();
    if (UID(hello.client(), false).IsNil())
        return TurnedAway("the client has no identity");
    if (hello.program().size() > corvan::k_MaxNameBytes ||
        hello.version().size() > corvan::k_MaxNameBytes)
        return TurnedAway("the client's name is too long");
    if (ProtocolOf(hello.protocol()) < leastProtocol)
        return TurnedAway(ClientName(hello) + " speaks protocol " +
                          std::to_string(ProtocolOf(hello.protocol())) +
                          ", and the Master, version " + corvan::CorvanApp::Version() + ", takes " +
                          std::to_string(leastProtocol) + " and newer: install a newer one here");
    return grpc::Status::OK;
}

String ClientName(const wire::Hello &hello)
{
    return corvan::Excerpt(hello.program()) + " " + corvan::Excerpt(hello.version());
}

String DescribeProtocol(const wire::Hello &hello)
{
    const unsigned theirs = ProtocolOf(hello.protocol());
    const String difference = corvan::ProtocolDifference(theirs, corvan::k_Protocol);
    if (difference.empty())
        return {};
    return "it speaks protocol " + std::to_string(theirs) + ", the Master " +
           std::to_string(corvan::k_Protocol) + "; " + difference;
}

wire::Envelope MakeWelcome(const wire::Envelope &hello, const UID &masterID, const Identity &who)
{
    wire::Envelope answer;
    answer.set_answers(hello.serial());
    wire::Welcome &welcome = *answer.mutable_welcome();
    welcome.set_master(masterID.ToString());
    welcome.set_version(corvan::CorvanApp::Version());
    welcome.set_protocol(corvan::k_Protocol);
    welcome.set_user(corvan::MakeUtf8(who.user));
    welcome.set_role(RoleName(who.role));
    return answer;
}

} // namespace master
