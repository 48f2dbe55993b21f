#pragma once

#include <string>

#include "web/jobs/FrameSnapshot.h"

namespace web
{

/// The parts of a sheet, see docs/api.md: its first line, with the counts as JSON, and a byte for
/// each frame.
std::string SheetHead(const FrameSnapshot &snapshot, const std::string &counts);
std::string SheetBytes(const check::CheckTable &table);

/// The byte of a state; that of a frame that nobody has looked at is 0.
char SheetByte(check::CheckState state);
char SheetByte(const check::CheckTable &table, std::size_t row);

/// The states that there are, as JSON.
std::string CountsJson(const check::StateCounts &counts);

} // namespace web
