#pragma once

#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "ostrel/String.h"

namespace corvan
{

using ostrel::String;

class Job;

/// What {Name} stands for; nothing for a name that stands for nothing.
using FindPlaceholder = std::function<std::optional<String>(const String &name)>;

/// Fills an argument list: each {Name} is replaced by what `find` gives, "{{" is a literal brace,
/// a closing brace by itself is plain text. A value is taken as it is, whatever it holds: no shell
/// ever reads it.
///
/// An argument that is one placeholder and nothing else becomes as many arguments as the value has
/// lines (none where it is empty); {Note} and {Name} are one argument always, perhaps an empty one
/// or one of several lines. The lines of {Arguments} are arguments as a job's owner writes them, so
/// their placeholders are filled too, by these same rules, but for {Arguments} itself, whose lines
/// are then taken as they are. No other value is looked into. A placeholder within other text keeps
/// its line ends; lines end with or without a carriage return.
///
/// Nothing, with the reason in `*reason`, for a name that stands for nothing and a brace that is
/// not closed.
std::optional<std::vector<String>> ExpandArguments(const std::vector<String> &arguments,
                                                   const FindPlaceholder &find, String *reason);

/// Why an argument cannot be filled whatever its placeholders stand for (a brace that is not
/// closed, an empty name); empty when it can.
String CheckPlaceholders(const String &argument);

/// The placeholders of a job: those of `given` ("Frame", "FirstFrame", "LastFrame", "Output", ...),
/// then "ID", the job's identifier, then any parameter or the type's default for it; "Note",
/// "Name" and "Arguments" are there always, perhaps empty. The job must outlive the function that
/// is returned.
FindPlaceholder JobPlaceholders(const Job &job, std::map<String, String> given);

} // namespace corvan
