#include "master/requests/Rights.h"

#include <algorithm>
#include <iterator>

#include "corvan/Messages.h"

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

MissingRight Missing(const Identity &who, const char *right)
{
    return {right, String("the right \"") + right + "\" is missing: user " + who.user +
                       " has the role \"" + RoleName(who.role) + "\""};
}

std::optional<MissingRight> MissingBelow(Role least, const Identity &who, const char *right)
{
    return who.role >= least ? std::nullopt : std::optional(Missing(who, right));
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

std::optional<MissingRight> FindMissingRight(const Identity &who, Right needed, const String &owner)
{
    switch (needed)
    {
    case Right::Watch:
        return std::nullopt;
    case Right::Submit:
        return MissingBelow(Role::Submit, who, "submit");
    case Right::Administer:
        return MissingBelow(Role::Admin, who, "admin");
    case Right::Edit:
        break;
    }
    if (who.role < Role::EditOwn)
        return Missing(who, "edit-own");
    if (who.role >= Role::EditAll || (!owner.empty() && owner == who.user))
        return std::nullopt;
    MissingRight missing = Missing(who, "edit-all");
    missing.sentence +=
        ", and the job is " + (owner.empty() ? String("nobody's") : "of user " + owner);
    return missing;
}

} // namespace master
