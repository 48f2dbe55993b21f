#pragma once

#include <boost/make_shared.hpp>

#include "corvan/JobFactory.h"
#include "tests/check/SampleJob.h"

namespace web
{

/// A job whose type the factory knows, with frames in a folder.
inline boost::shared_ptr<corvan::Job> FarmJob(const ostrel::String &folder,
                                              const ostrel::String &range)
{
    corvan::JobFactory &factory = corvan::JobFactory::s_JobFactory;
    if (!factory.FindType(check::SampleType()->id))
        factory.AddType(*check::SampleType());
    const auto job = factory.CreateJob(check::SampleType()->id);
    job->SetID(ostrel::UID(true));
    job->SetParameter(corvan::p_Name, "tower");
    job->SetParameter(corvan::p_CustomRange, "");
    job->SetParameter(corvan::p_Range, range);
    job->SetParameter(corvan::p_ImageFormat, folder + "/f.%04d.raw");
    return job;
}

} // namespace web
