#pragma once

#include <boost/make_shared.hpp>

#include "corvan/Job.h"
#include "corvan/JobType.h"

/// A job of a type of its own, with an identifier and no parameter set.
inline boost::shared_ptr<corvan::Job>
MakeSampleJob(std::vector<corvan::JobTypeCommand> commands = {})
{
    const auto type = boost::make_shared<corvan::JobType>();
    type->id = corvan::UID(true);
    type->name = "Sample";
    type->commands = std::move(commands);
    const auto job = boost::make_shared<corvan::RenderJob>(type);
    job->SetID(corvan::UID(true));
    return job;
}
