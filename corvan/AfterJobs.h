#pragma once

#include <optional>
#include <span>
#include <vector>

#include "ostrel/UID.h"

namespace corvan
{

using ostrel::String;
using ostrel::UID;

/// How many jobs a job may wait for by one parameter.
constexpr std::size_t k_MostAfterJobs = 1000;

/// The jobs that "After" or "AfterGood" names: identifiers with commas between, blanks around them
/// or not; each is there once. Nothing where one is none, or there are too many.
std::optional<std::vector<UID>> ReadAfterJobs(const String &text);

/// The text that names these jobs.
String WriteAfterJobs(std::span<const UID> jobs);

/// Why a text is no value of the parameter, as a sentence that names it; empty where it is one. An
/// empty text is: the job waits for none.
String CheckAfterJobs(const String &name, const String &text);

} // namespace corvan
