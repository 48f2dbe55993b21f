#pragma once

#include <span>

#include "cli/CheckTable.h"
#include "cli/FindJob.h"
#include "cli/Output.h"

namespace cli
{

/// Writes judged tables as one JSON object:
///
///     {"job": ID or null, "tables": [{"format": TEXT, "frames": [{"frame": N, "path": TEXT,
///     "state": TEXT, "size": BYTES or null, "modified": TIME or null, "detail": TEXT}],
///     "counts": {"files": N, STATE: N}, "bad": RANGE}]}
///
/// "detail" stands where there is one; the states of decoded files are counted where `isDecoded`.
/// Bytes that are no UTF-8 are replaced. Written as it is worked out: no second copy of the rows.
void WriteJson(Output &out, const Job *job, std::span<const CheckTable> tables, bool isDecoded);

} // namespace cli
