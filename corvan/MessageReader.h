#pragma once

#include <boost/shared_ptr.hpp>
#include <google/protobuf/repeated_ptr_field.h>
#include <vector>

#include "corvan/Job.h"

namespace corvan
{

namespace wire
{
class Job;
class Parameter;
} // namespace wire

/// Takes the fields of messages over into the program's own types, with every check. All give
/// false, with the reason, for content that cannot be.

/// `what` names the field in the reason: "job".
bool ReadId(const std::string &text, const char *what, UID &id, String *reason);

/// The same, where an empty text is the nil identifier.
bool ReadOptionalId(const std::string &text, const char *what, UID &id, String *reason);

/// One to `k_MaxJobIds` identifiers; one that is there again is passed over.
bool ReadIds(const google::protobuf::RepeatedPtrField<std::string> &texts, std::vector<UID> &ids,
             String *reason);

/// Names and values in their order, each name once, each value one that a job can have. At most
/// `k_MaxParameters`.
bool ReadParameters(const google::protobuf::RepeatedPtrField<wire::Parameter> &wireParameters,
                    std::vector<std::pair<String, String>> &parameters, String *reason);

/// A job of a known type whose parameters it would take itself. Null when there is none.
boost::shared_ptr<Job> ReadJob(const wire::Job &wireJob, String *reason);

void WriteJob(const Job &job, wire::Job &wireJob);

} // namespace corvan
