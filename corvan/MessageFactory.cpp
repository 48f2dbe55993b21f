#include "corvan/MessageFactory.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <iterator>

#include "corvan/Gathered.h"
#include "corvan/Messages.h"
#include "corvan/messages.pb.h"

namespace corvan
{

namespace
{

template <typename Concrete> boost::shared_ptr<Message> Make()
{
    return boost::make_shared<Concrete>();
}

struct MessageKind
{
    wire::Envelope::BodyCase body;
    const UID *type;
    boost::shared_ptr<Message> (*make)();
};

const MessageKind k_kinds[] = {
    {wire::Envelope::kFollowJob, &FollowJobMsg::s_Type, &Make<FollowJobMsg>},
    {wire::Envelope::kGetJobInfo, &GetJobInfoMsg::s_Type, &Make<GetJobInfoMsg>},
    {wire::Envelope::kJob, &JobMsg::s_Type, &Make<JobMsg>},
    {wire::Envelope::kJobParameter, &JobParameterMsg::s_Type, &Make<JobParameterMsg>},
    {wire::Envelope::kJobParameters, &JobParametersMsg::s_Type, &Make<JobParametersMsg>},
    {wire::Envelope::kRemoveJob, &RemoveJobMsg::s_Type, &Make<RemoveJobMsg>},
    {wire::Envelope::kJobRemoved, &JobRemovedMsg::s_Type, &Make<JobRemovedMsg>},
    {wire::Envelope::kListJobs, &ListJobsMsg::s_Type, &Make<ListJobsMsg>},
    {wire::Envelope::kJobList, &JobListMsg::s_Type, &Make<JobListMsg>},
    {wire::Envelope::kGetTasks, &GetTasksMsg::s_Type, &Make<GetTasksMsg>},
    {wire::Envelope::kTaskList, &TaskListMsg::s_Type, &Make<TaskListMsg>},
    {wire::Envelope::kGetTaskLog, &GetTaskLogMsg::s_Type, &Make<GetTaskLogMsg>},
    {wire::Envelope::kTaskLog, &TaskLogMsg::s_Type, &Make<TaskLogMsg>},
    {wire::Envelope::kListNodes, &ListNodesMsg::s_Type, &Make<ListNodesMsg>},
    {wire::Envelope::kNodeList, &NodeListMsg::s_Type, &Make<NodeListMsg>},
    {wire::Envelope::kSetNode, &SetNodeMsg::s_Type, &Make<SetNodeMsg>},
    {wire::Envelope::kAccepted, &AcceptedMsg::s_Type, &Make<AcceptedMsg>},
    {wire::Envelope::kRefused, &RefusedMsg::s_Type, &Make<RefusedMsg>},
};

} // namespace

boost::shared_ptr<Message> MessageFactory::CreateMessage(const UID &type)
{
    const auto kind =
        std::ranges::find_if(k_kinds, [&](const MessageKind &each) { return *each.type == type; });
    return kind == std::end(k_kinds) ? nullptr : kind->make();
}

std::vector<UID> MessageFactory::Types()
{
    std::vector<UID> types;
    for (const MessageKind &kind : k_kinds)
        types.push_back(*kind.type);
    return types;
}

boost::shared_ptr<Message> MessageFactory::FromEnvelope(const wire::Envelope &envelope,
                                                        String *reason)
{
    if (IsGathered(envelope))
    {
        *reason = "it holds others";
        return nullptr;
    }
    const auto kind = std::ranges::find(k_kinds, envelope.body_case(), &MessageKind::body);
    if (kind == std::end(k_kinds))
    {
        *reason = envelope.body_case() == wire::Envelope::BODY_NOT_SET
                      ? "the envelope is empty, or holds a message that is not known here"
                      : "a greeting belongs to the opening of a connection";
        return nullptr;
    }

    auto message = kind->make();
    if (!message->Read(envelope, reason))
    {
        *reason = String(message->TypeName()) + ": " + *reason;
        return nullptr;
    }
    message->serial = envelope.serial();
    message->answers = envelope.answers();
    message->wireBytes = envelope.ByteSizeLong();
    return message;
}

void MessageFactory::ToEnvelope(const Message &message, wire::Envelope &envelope)
{
    envelope.Clear();
    envelope.set_serial(message.serial);
    envelope.set_answers(message.answers);
    message.Write(envelope);
}

} // namespace corvan
