#pragma once

#include <span>

#include "check/CheckTable.h"
#include "check/TextWriter.h"
#include "corvan/Job.h"

namespace check
{

/// Writes judged tables as one JSON object:
///
///     {"job": ID or null, "tables": [{"format": TEXT, "frames": [{"frame": N, "path": TEXT,
///     "state": TEXT, "size": BYTES or null, "modified": TIME or null, "detail": TEXT,
///     "score": N or null}],
///     "counts": {"files": N, STATE: N}, "bad": RANGE}]}
///
/// "detail" stands where there is one, and so does "not-looked-at", the reason; the states that
/// `depth` can find are counted, "changed" in tables that were held against seals.
/// "score" stands in tables that were judged by the robust rule; it is null of a row that this says
/// nothing of. Bytes that are no UTF-8 are replaced. Written as it is worked out: no second copy of
/// the rows.
void WriteJson(TextWriter &out, const corvan::Job *job, std::span<const CheckTable> tables,
               CheckDepth depth);

} // namespace check
