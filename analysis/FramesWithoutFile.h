#pragma once

#include "analysis/Expansion.h"

namespace analysis
{

/// The frames of a walk that `ExpandFrames` lists not every file of, because single precision does
/// not tell whole numbers apart from 16,777,216 on: such a frame gets no file at all, or that of
/// another number. They belong to the walk, so they are named beside what it lists.
///
/// Empty where all numbers are smaller, which is found out at once; else this takes as long as the
/// walk. Empty also where `ExpandFrames` refuses and so tells a reason itself.
SequenceDistributor::Items FindFramesWithoutFile(const ExpansionInput &input);

} // namespace analysis
