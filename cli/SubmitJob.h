#pragma once

#include <vector>

#include "cli/Client.h"
#include "cli/SetParameter.h"

namespace cli
{

/// What a new job is made of. An empty text is left out.
struct NewJob
{
    String type = {}; ///< Its name, in any case, or its identifier.
    String name = {}; ///< Where empty, the leaf of the first pattern, else the type's name.
    String range = {};
    std::vector<String> patterns = {}; ///< As `ReadPattern` gives them.
    std::vector<Setting> settings = {};
    bool isPaused = false;
};

/// Makes the job and sets its parameters. Throws `Failure *` (refused) for an unknown type and for
/// a value that the job does not take. Needs no Master.
boost::shared_ptr<corvan::Job> MakeJob(const NewJob &newJob);

/// Gives a job to the Master, and waits until it is kept there. Its identifier. Throws `Failure *`.
UID SubmitJob(Client &client, const boost::shared_ptr<corvan::Job> &job);

} // namespace cli
