#include "analysis/SettingCheck.h"

#include <boost/make_shared.hpp>

#include <gtest/gtest.h>

#include "corvan/Job.h"
#include "corvan/JobType.h"
#include "corvan/Parameters.h"

using namespace analysis;

namespace
{

/// A job with "scene" and the type's default for "Width".
boost::shared_ptr<corvan::Job> SampleJob()
{
    const auto type = boost::make_shared<corvan::JobType>();
    type->id = ostrel::UID("6d396773-6d80-4f82-823f-fbc6c1cca52f", true);
    type->name = "Sample";
    type->defaults = {{"Width", "640"}, {"Height", "480"}};
    type->renderCommand = {"true"};
    const auto job = boost::make_shared<corvan::RenderJob>(type);
    job->SetParameter("scene", "/s.pov");
    job->SetParameter("Height", "360");
    return job;
}

} // namespace

TEST(SettingCheck, TakesWhatMakesSense)
{
    const struct
    {
        const char *name;
        const char *value;
    } cases[] = {
        {"Range", "1-10"},
        {"CustomRange", ""},
        {"Status", "4"},
        {"RequeueOf", "6d396773-6d80-4f82-823f-fbc6c1cca52f"},
        {"Width", "800"},
        {"Height", "600"},
        {"scene", "/t.pov"},
        {"Colour", "red"},
        {"Identifier", "x"},
        {"ImageFormat", "/r/a.%04d.exr"},
        {"ImageFormat", "//server/r/a.%d"},
        {"ImageFormat", "/r/a.%d;\"/r/b;c.%d\""},
        {"ImageFormat", "P:/r/a.%d"},
        {"ImageFormat", R"(P:\\r\\a.%d)"},
        {"ImageFormat", R"(\\\\server\\r\\a.%d)"},
    };
    for (const auto &[name, value] : cases)
        EXPECT_EQ(CheckSetting(*SampleJob(), name, value), "") << name << " = " << value;
}

TEST(SettingCheck, RefusesWhatNobodyWouldReadOrRenderAndSaysWhy)
{
    const struct
    {
        const char *name;
        const char *value;
        const char *reason;
    } cases[] = {
        {"status", "paused", "status: the parameter is called Status"},
        {"RANGE", "1", "RANGE: the parameter is called Range"},
        {"Scene", "/t.pov", "Scene: the parameter is called scene"},
        {"width", "800", "width: the parameter is called Width"},
        {"height", "800", "height: the parameter is called Height"},
        {"tasksdone", "1", "tasksdone: the parameter is called TasksDone"},
        {"ID", "x", "ID: the identifier of a job cannot be set"},
        {"id", "", "id: the identifier of a job cannot be set"},
        {"Type", "x", "Type cannot be set"},
        {"Scene\xff", "x", "is not UTF-8"},
        {"Note", "a\xff", "Note: the value is not UTF-8"},
        {"PacketSize", "0", "PacketSize: \"0\" is not a whole number"},
        {"ImageFormat", "", "ImageFormat: there is no pattern in it"},
        {"ImageFormat", ";;", "ImageFormat: "},
        {"ImageFormat", "/r/a.####.exr", "\"/r/a.####.exr\": it has no place for a frame number"},
        {"ImageFormat", "/r/a.%s", "\"/r/a.%s\": \"%s\" is no conversion"},
        {"ImageFormat", "/r/a.%d;/r/b.exr", "\"/r/b.exr\": it has no place"},
        {"ImageFormat", "a.%d", "\"a.%d\" is no full path"},
        {"ImageFormat", "./r/a.%d", "is no full path"},
        {"ImageFormat", "1:/a.%d", "is no full path"},
    };
    for (const auto &[name, value, reason] : cases)
    {
        const String given = CheckSetting(*SampleJob(), name, value);
        EXPECT_NE(given.find(reason), String::npos) << name << " = " << value << ": " << given;
    }
}

TEST(SettingCheck, ANameThatIsTakenInTwoSpellingsMayBeSetInBothButForTheLibrarysOwn)
{
    const auto job = SampleJob();
    job->SetParameter("Scene", "/t.pov");
    job->SetParameter("status", "paused");
    EXPECT_EQ(CheckSetting(*job, "Scene", "/u.pov"), "");
    EXPECT_EQ(CheckSetting(*job, "scene", "/u.pov"), "");
    EXPECT_NE(CheckSetting(*job, "status", "queued"), "");
}
