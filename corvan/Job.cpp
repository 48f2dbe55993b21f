#include "corvan/Job.h"

#include <algorithm>
#include <cassert>

#include "corvan/JobType.h"
#include "corvan/Limits.h"
#include "corvan/ParameterCheck.h"

namespace corvan
{

namespace
{

bool ComesOfRun(const String &name)
{
    return name == p_Status || name == p_Note || IsMasterParameter(name);
}

} // namespace

Job::Job(boost::shared_ptr<const JobType> type) : m_type(std::move(type))
{
    assert(m_type && "a job has a type");
}

String Job::Name() const
{
    const String *name = Find(p_Name);
    return name ? *name : String();
}

void Job::SetNote(const String &note)
{
    Store(p_Note, note);
}

String Job::TypeString() const
{
    return m_type->name;
}

bool Job::GetParameter(const String &name, String &value) const
{
    if (name == p_Type)
    {
        value = m_type->id.ToString();
        return true;
    }
    const String *found = Find(name);
    if (!found)
        return false;
    value = *found;
    return true;
}

String Job::ParameterText(const String &name, bool orDefault) const
{
    String value;
    if (!GetParameter(name, value) && orDefault)
        value = m_type->FindDefault(name).value_or(String());
    return value;
}

bool Job::SetParameter(const String &name, const String &value)
{
    if (!CheckParameter(name, value).empty())
        return false;
    Store(name, value);
    return true;
}

String Job::CheckParameter(const String &name, const String &value) const
{
    if (name == p_CustomRange && !m_type->hasCustomRange)
        return "CustomRange: jobs of type " + m_type->name + " have no custom range";
    if (String reason = CheckParameterText(name, value); !reason.empty())
        return reason;
    if (name == p_CheckFrames && !m_type->rendersFrames && value != "none" && !value.empty())
        return name + ": jobs of type " + m_type->name + " render no frames";
    return CheckRoom(name, value);
}

String Job::CheckRoom(const String &name, const String &value) const
{
    const String *old = Find(name);
    if (!old && m_parameters.size() >= k_MaxParameters)
        return name + ": a job has at most 1000 parameters";

    const std::size_t given = old ? old->size() : name.size();
    const std::size_t bytes = old ? m_bytes - given + value.size() : m_bytes + given + value.size();
    return bytes > k_MaxJobBytes ? name + ": the job would be larger than 8 MiB" : String();
}

void Job::CopyFrom(const Job &other, bool withRun)
{
    if (this == &other)
        return;
    m_type = other.m_type;
    m_parameters.clear();
    m_bytes = 0;
    for (const auto &[name, value] : other.m_parameters)
        if (withRun || !ComesOfRun(name))
            Store(name, value);
}

void Job::TakeDefaults()
{
    for (const auto &[name, value] : m_type->defaults)
        if (!Find(name))
            SetParameter(name, value);
}

void Job::Store(const String &name, const String &value)
{
    const auto found = std::ranges::find(m_parameters, name, &std::pair<String, String>::first);
    if (found == m_parameters.end())
    {
        m_parameters.emplace_back(name, value);
        m_bytes += name.size() + value.size();
        return;
    }
    m_bytes = m_bytes - found->second.size() + value.size();
    found->second = value;
}

void Job::Remove(const String &name)
{
    const auto found = std::ranges::find(m_parameters, name, &std::pair<String, String>::first);
    if (found == m_parameters.end())
        return;
    m_bytes -= found->first.size() + found->second.size();
    m_parameters.erase(found);
}

const String *Job::Find(const String &name) const
{
    const auto found = std::ranges::find(m_parameters, name, &std::pair<String, String>::first);
    return found == m_parameters.end() ? nullptr : &found->second;
}

} // namespace corvan
