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
    String id = {};   ///< Its identifier; a new one where empty.
    String name = {}; ///< Where empty, see `NameAfterPattern`.
    String range = {};
    std::vector<String> patterns = {}; ///< As `ReadPattern` gives them.
    std::vector<Setting> settings = {};
    bool isPaused = false;
};

/// What to call a job that writes to a pattern: what stands before the number in the last part of
/// the path, without the marks that join the two ("/r/tower.%04d.png" is "tower"), else the name of
/// the folder. Empty where there is neither. Control characters are left out, bytes that are no
/// UTF-8 replaced.
String NameAfterPattern(const String &pattern);

/// Makes the job and sets its parameters. Without a name it is called after its first pattern, else
/// after its type. Throws `Failure *`: wrong usage for an unknown type, an identifier or a range
/// that is none,
/// refused for a value that the job does not take. Needs no Master.
boost::shared_ptr<corvan::Job> MakeJob(const NewJob &newJob);

/// Gives a job to the Master, and waits until it is kept there. Its identifier. Where the
/// connection breaks meanwhile it is sent again, which makes no second job of it: the identifier is
/// the same. Throws `Failure *`, which names the job where it may be kept all the same.
UID SubmitJob(Client &client, const boost::shared_ptr<corvan::Job> &job);

/// Prints the identifier of a job that was just made, a line. Throws `Failure *` (refused) that
/// names it where nobody gets it: the job is there all the same.
void PrintNewJob(const UID &job);

} // namespace cli
