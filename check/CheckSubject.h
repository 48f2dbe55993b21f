#pragma once

#include <boost/shared_ptr.hpp>
#include <optional>
#include <vector>

#include "analysis/Expansion.h"
#include "check/CheckTable.h"
#include "corvan/Job.h"

namespace check
{

/// The frames that are checked: those of a job, or of patterns over a range.
struct CheckSubject
{
    boost::shared_ptr<corvan::Job> job; ///< None for patterns.
    analysis::ExpansionInput input;
    /// Those that no file can be told for, where whoever asks has looked for them.
    corvan::SequenceDistributor::Items withoutFile;
    std::vector<CheckTable> tables; ///< One a pattern, not yet filled.
};

/// A table of a pattern, not yet filled. Nothing, with the reason, where it cannot be formatted.
std::optional<CheckTable> MakeTable(const String &format, String *reason);

/// What there is to look for of a job, a table for each of its formats. Throws `CheckException *`
/// for a job without a range, without a frame or without a format that can be looked for.
CheckSubject FindJobFrames(boost::shared_ptr<corvan::Job> job);

/// The same by what a job says: the texts of `input`, and patterns in this machine's notation.
/// `name` is what the job is called in the exception: "the job 'tower'".
CheckSubject FindFrames(analysis::ExpansionInput input, const std::vector<String> &formats,
                        const String &name);

/// Fills one table with the frames to expect. Throws `CheckException *` where they cannot be
/// listed.
void ListFrames(const analysis::ExpansionInput &input, CheckTable &table);

} // namespace check
