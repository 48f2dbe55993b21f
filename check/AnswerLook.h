#pragma once

#include "check/LookAnswer.h"
#include "check/LookRequest.h"

namespace check
{

/// Looks at the frames of a job and judges them by the usual settings. Takes as long as the disk
/// takes to tell; never throws.
///
/// Where a folder is not there, and where not one file is of which all were seen before, the frames
/// could not be looked at: a share that is not mounted looks like that.
LookAnswer AnswerLook(const LookRequest &request);

} // namespace check
