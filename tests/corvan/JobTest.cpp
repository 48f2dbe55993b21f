#include "corvan/Job.h"

#include <gtest/gtest.h>

#include "corvan/JobType.h"
#include "corvan/Limits.h"
#include "tests/corvan/SampleType.h"
#include "tests/support/Printing.h"

using namespace corvan;

namespace
{

using Parameters = std::vector<std::pair<String, String>>;

boost::shared_ptr<const JobType> PlainType()
{
    JobType type = SampleType();
    type.rendersFrames = false;
    type.hasCustomRange = false;
    return boost::make_shared<const JobType>(type);
}

} // namespace

TEST(Job, ReadsOnlyWhatIsSet)
{
    Job job(PlainType());
    String value = "before";
    EXPECT_FALSE(job.GetParameter("Scene", value));
    EXPECT_EQ(value, "before");

    EXPECT_TRUE(job.SetParameter("Scene", ""));
    EXPECT_TRUE(job.GetParameter("Scene", value));
    EXPECT_EQ(value, "");
}

TEST(Job, GivesTheTypesDefaultWhereAsked)
{
    Job job(PlainType());
    EXPECT_EQ(job.ParameterText("Width", false), "");
    EXPECT_EQ(job.ParameterText("Width", true), "640");
    EXPECT_EQ(job.ParameterText("Height", true), "");
    job.SetParameter("Width", "");
    EXPECT_EQ(job.ParameterText("Width", true), "");
}

TEST(Job, TakesItsDefaultsAsParametersWhenTold)
{
    Job job(PlainType());
    job.SetParameter("Width", "320");
    job.TakeDefaults();
    EXPECT_EQ(job.Parameters(), (Parameters{{"Width", "320"}, {"PacketSize", "5"}}));
}

TEST(Job, TellsItsTypeButDoesNotLetItBeSet)
{
    Job job(PlainType());
    EXPECT_EQ(job.ParameterText(p_Type, true), "0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e01");
    EXPECT_EQ(job.TypeString(), "Sample");
    EXPECT_FALSE(job.SetParameter(p_Type, "0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e02"));
    EXPECT_TRUE(job.Parameters().empty());
}

TEST(Job, KeepsItsParametersInTheOrderTheyWereFirstSet)
{
    Job job(PlainType());
    job.SetParameter("B", "1");
    job.SetParameter("A", "2");
    job.SetParameter("B", "3");
    EXPECT_EQ(job.Parameters(), (Parameters{{"B", "3"}, {"A", "2"}}));
}

TEST(Job, ChangesNothingWhenItRefuses)
{
    Job job(PlainType());
    EXPECT_TRUE(job.SetParameter(p_PacketSize, "4"));
    EXPECT_FALSE(job.SetParameter(p_PacketSize, "0"));
    EXPECT_EQ(job.ParameterText(p_PacketSize, false), "4");
    EXPECT_FALSE(job.SetParameter(p_Status, "9"));
    EXPECT_FALSE(job.SetParameter(p_Range, "1-2-3"));
    EXPECT_EQ(job.Parameters(), (Parameters{{"PacketSize", "4"}}));
}

TEST(Job, HasNameAndNote)
{
    Job job(PlainType());
    EXPECT_EQ(job.Name(), "");
    job.SetParameter(p_Name, "Shot 1");
    EXPECT_EQ(job.Name(), "Shot 1");
    job.SetNote("/frames/any\xff"
                "byte.exr");
    EXPECT_EQ(job.ParameterText(p_Note, false), "/frames/any\xff"
                                                "byte.exr");
}

TEST(Job, HoldsALimitedNumberOfParameters)
{
    Job job(PlainType());
    for (std::size_t i = 0; i < k_MaxParameters; ++i)
        ASSERT_TRUE(job.SetParameter("P" + std::to_string(i), "x"));
    EXPECT_EQ(job.CheckParameter("One more", "x"), "One more: a job has at most 1000 parameters");
    EXPECT_TRUE(job.SetParameter("P5", "y"));
}

TEST(Job, HoldsALimitedNumberOfBytesSoThatItFitsAMessage)
{
    Job job(PlainType());
    const String large(k_MaxValueBytes, 'x');
    EXPECT_TRUE(job.SetParameter("A", large));
    EXPECT_EQ(job.CheckParameter("B", large), "B: the job would be larger than 8 MiB");
    EXPECT_TRUE(job.SetParameter("A", "x"));
    EXPECT_TRUE(job.SetParameter("B", large));
    EXPECT_TRUE(job.SetParameter("C", large.substr(100)));
}

TEST(Job, CopiesDefinitionAndRunOrDefinitionAlone)
{
    Job job(PlainType());
    job.SetID(UID(true));
    for (const char *name :
         {"Scene", "Range", "Owner", "Created", "TasksDone", "TasksTotal", "TasksFailed"})
        job.SetParameter(name, "1");
    job.SetParameter(p_Status, "2");
    job.SetNote("note");

    Job whole(PlainType());
    whole.SetParameter("Own", "x");
    whole.CopyFrom(job, true);
    EXPECT_EQ(whole.Parameters(), job.Parameters());
    EXPECT_TRUE(whole.ID().IsNil());

    Job definition(PlainType());
    definition.CopyFrom(job, false);
    EXPECT_EQ(definition.Parameters(), (Parameters{{"Scene", "1"}, {"Range", "1"}}));
}

TEST(Job, TakesOverTheTypeWithACopy)
{
    JobType other = SampleType();
    other.id = UID(true);
    other.name = "Other";
    const RenderJob from(boost::make_shared<const JobType>(other));
    RenderJob to(boost::make_shared<const JobType>(SampleType()));
    to.CopyFrom(from, true);
    EXPECT_EQ(to.TypeString(), "Other");
}

TEST(Job, RefusesACustomRangeWhereItsTypeHasNone)
{
    Job job(PlainType());
    String value;
    EXPECT_FALSE(job.SetParameter(p_CustomRange, "1"));
    EXPECT_FALSE(job.GetParameter(p_CustomRange, value));
    EXPECT_EQ(job.CheckParameter(p_CustomRange, ""),
              "CustomRange: jobs of type Sample have no custom range");
}
