#include "tests/master/TestJobs.h"

#include <gtest/gtest.h>

#include "corvan/JobFactory.h"
#include "corvan/JobType.h"

using corvan::JobFactory;
using corvan::JobType;
using ostrel::UID;

const UID k_ShellType("0b5c7f6e-38c1-4b62-8f0c-0e9b6a1f6a01", true);
const UID k_OnceType("0b5c7f6e-38c1-4b62-8f0c-0e9b6a1f6a02", true);

namespace
{

JobType ShellType()
{
    JobType type;
    type.id = k_ShellType;
    type.name = "Shell";
    type.defaults = {{"PacketSize", "1"}};
    type.renderCommand = {"/bin/sh",      "-c",          "{Script}", "render",
                          "{FirstFrame}", "{LastFrame}", "{Output}"};
    return type;
}

JobType OnceType()
{
    JobType type = ShellType();
    type.id = k_OnceType;
    type.name = "Once";
    type.rendersFrames = false;
    type.hasCustomRange = false;
    return type;
}

} // namespace

TestJobTypes::TestJobTypes()
{
    JobFactory::s_JobFactory.AddType(ShellType());
    JobFactory::s_JobFactory.AddType(OnceType());
}

TestJobTypes::~TestJobTypes()
{
    JobFactory::s_JobFactory.Clear();
}

void TestJobTypes::Forget(const UID &type)
{
    JobFactory::s_JobFactory.Clear();
    if (!(type == k_ShellType))
        JobFactory::s_JobFactory.AddType(ShellType());
    if (!(type == k_OnceType))
        JobFactory::s_JobFactory.AddType(OnceType());
}

void TestJobTypes::RunsProgram(const ostrel::String &program)
{
    Forget(k_ShellType);
    JobType type = ShellType();
    type.renderCommand = {program};
    JobFactory::s_JobFactory.AddType(type);
}

void TestJobTypes::RendersInto(const ostrel::Path &folder)
{
    Forget(k_ShellType);
    JobType type = ShellType();
    type.paths = {{"ImageFormat", {folder}}};
    JobFactory::s_JobFactory.AddType(type);
}

void TestJobTypes::IsStuckBy(const corvan::StuckLimits &limits)
{
    Forget(k_ShellType);
    JobType type = ShellType();
    type.stuck = limits;
    JobFactory::s_JobFactory.AddType(type);
}

boost::shared_ptr<corvan::Job> MakeTestJob(const TestParameters &parameters, const UID &type)
{
    boost::shared_ptr<corvan::Job> job = JobFactory::s_JobFactory.CreateJob(type);
    job->SetID(UID(true));
    job->SetParameter("Script", "exit 0");
    for (const auto &[name, value] : parameters)
        EXPECT_TRUE(job->SetParameter(name, value)) << name << " = " << value;
    return job;
}
