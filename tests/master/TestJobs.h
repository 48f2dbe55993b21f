#pragma once

#include <utility>
#include <vector>

#include "corvan/Job.h"
#include "corvan/JobType.h"

/// Job types that the tests of the Master render with: "Shell" runs the script of the parameter
/// "Script" with the first frame, the last frame and the output as $1 to $3; "Once" does the same
/// without frames. They are known while this lives.
class TestJobTypes
{
public:
    TestJobTypes();
    ~TestJobTypes();
    TestJobTypes(const TestJobTypes &) = delete;
    TestJobTypes &operator=(const TestJobTypes &) = delete;

    /// One of them is not known any more; the others are what they were.
    static void Forget(const ostrel::UID &type);
    /// "Shell" runs this program, without arguments.
    static void RunsProgram(const ostrel::String &program);
    /// What "Shell" renders lies in this folder.
    static void RendersInto(const ostrel::Path &folder);
    /// Tasks of "Shell" are stuck by these limits.
    static void IsStuckBy(const corvan::StuckLimits &limits);
};

extern const ostrel::UID k_ShellType;
extern const ostrel::UID k_OnceType;

using TestParameters = std::vector<std::pair<ostrel::String, ostrel::String>>;

/// A new job of type "Shell" with an identifier of its own, a script that does nothing, and these
/// parameters. Fails the test for a parameter that it does not take.
boost::shared_ptr<corvan::Job> MakeTestJob(const TestParameters &parameters,
                                           const ostrel::UID &type = k_ShellType);
