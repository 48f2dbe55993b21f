#include "master/requests/Rights.h"

#include <algorithm>
#include <iterator>

#include "corvan/Messages.h"
#include "corvan/Protocol.h"

namespace master
{

namespace
{

struct NeedRow
{
    const UID &message;
    Right right;
    UID (*jobOf)(const Message &message);
};

UID NoJob(const Message & /*message*/)
{
    return UID();
}

UID JobOfNew(const Message &message)
{
    const auto &job = static_cast<const corvan::JobMsg &>(message).job;
    return job ? job->ID() : UID();
}

template <typename Concrete> UID JobOf(const Message &message)
{
    return static_cast<const Concrete &>(message).job;
}

template <typename Concrete> NeedRow Edits()
{
    return {Concrete::s_Type, Right::Edit, &JobOf<Concrete>};
}

const NeedRow k_needs[] = {
    {corvan::FollowJobMsg::s_Type, Right::Watch, &NoJob},
    {corvan::GetJobInfoMsg::s_Type, Right::Watch, &NoJob},
    {corvan::ListJobsMsg::s_Type, Right::Watch, &NoJob},
    {corvan::GetTasksMsg::s_Type, Right::Watch, &NoJob},
    {corvan::GetTaskLogMsg::s_Type, Right::Watch, &NoJob},
    {corvan::ListNodesMsg::s_Type, Right::Watch, &NoJob},
    {corvan::SetNodeMsg::s_Type, Right::Administer, &NoJob},
    {corvan::JobMsg::s_Type, Right::Submit, &JobOfNew},
    Edits<corvan::JobParameterMsg>(),
    Edits<corvan::JobParametersMsg>(),
    Edits<corvan::RemoveJobMsg>(),
};

String Missing(const Identity &who, const char *right)
{
    return String(corvan::k_MissingRight) + right + "\" is missing: user " + who.user + " has the role \"" +
           RoleName(who.role) + "\"";
}

} // namespace

std::optional<Need> FindNeed(const Message &message)
{
    const auto *row = std::ranges::find_if(k_needs, [&](const NeedRow &each)
                                           { return each.message == message.TypeID(); });
    if (row == std::end(k_needs))
        return std::nullopt;
    return Need{row->right, row->jobOf(message)};
}

String FindMissingRight(const Identity &who, Right needed, const String &owner)
{
    switch (needed)
    {
    case Right::Watch:
        return {};
    case Right::Submit:
        return who.role >= Role::Submit ? String() : Missing(who, "submit");
    case Right::Administer:
        return who.role >= Role::Admin ? String() : Missing(who, "admin");
    case Right::Edit:
        break;
    }
    if (who.role < Role::EditOwn)
        return Missing(who, "edit-own");
    if (who.role >= Role::EditAll || (!owner.empty() && owner == who.user))
        return {};
    return Missing(who, "edit-all") + ", and the job is " +
           (owner.empty() ? String("nobody's") : "of user " + owner);
}

} // namespace master
