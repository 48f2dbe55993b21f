#pragma once

#include <boost/make_shared.hpp>

#include "corvan/Job.h"
#include "corvan/JobType.h"
#include "corvan/Parameters.h"

namespace check
{

inline boost::shared_ptr<const corvan::JobType> SampleType()
{
    const auto type = boost::make_shared<corvan::JobType>();
    type->id = ostrel::UID("6d396773-6d80-4f82-823f-fbc6c1cca52f", true);
    type->name = "Command";
    type->defaults = {{corvan::p_PacketSize, "1"}};
    type->renderCommand = {"{Program}"};
    return type;
}

/// A job of that type with an identifier and a name.
inline boost::shared_ptr<corvan::Job> SampleJob(const char *id, const char *name)
{
    const auto job = boost::make_shared<corvan::RenderJob>(SampleType());
    job->SetID(ostrel::UID(id, true));
    job->SetParameter(corvan::p_Name, name);
    return job;
}

} // namespace check
