#pragma once

#include <functional>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "ostrel/String.h"

namespace corvan
{

using ostrel::String;

class Job;

/// What a placeholder stands for.
struct PlaceholderValue
{
    enum class Kind
    {
        Text,   ///< Anything, from anybody.
        Path,   ///< Of a file, from anybody.
        Number, ///< Worked out by the program itself.
    };

    PlaceholderValue(String text, Kind kindOfIt = Kind::Text)
        : items{std::move(text)}, kind(kindOfIt)
    {
    }
    static PlaceholderValue List(std::vector<String> items, Kind kind)
    {
        PlaceholderValue list({}, kind);
        list.items = std::move(items);
        list.isList = true;
        return list;
    }

    friend bool operator==(const PlaceholderValue &, const PlaceholderValue &) = default;

    std::vector<String> items; ///< One; of a list any number.
    Kind kind;
    bool isList = false;
};

/// What {Name} stands for; nothing for a name that stands for nothing.
using FindPlaceholder = std::function<std::optional<PlaceholderValue>(const String &name)>;

/// Fills an argument list: each {Name} is replaced by what `find` gives, "{{" is a literal brace,
/// a closing brace by itself is plain text. No shell ever reads a value.
///
/// An argument stays one argument, perhaps an empty one, whatever the values hold, but for two that
/// are a placeholder and nothing else: that of a list becomes as many arguments as the list has
/// items, and {Arguments} as many as its value has lines, which end with or without a carriage
/// return. The lines of {Arguments} are arguments as a job's owner writes them, so their
/// placeholders are filled too, by these same rules, but for {Arguments} itself, whose lines are
/// then taken as they are. No other value is looked into. Within other text the items of a list
/// have line ends between them.
///
/// A value cannot make an option of an argument that begins with it: a path that begins with "-",
/// or with "+", which editors and pagers take for one, gets "./" before it, a text that begins with
/// "-" is refused. Where an argument is made of placeholders alone, a value with a control
/// character (a line end is one) is refused as well; within other text it is taken as it is.
///
/// Nothing, with the reason in `*reason`, for a value that is refused, a name that stands for
/// nothing and a brace that is not closed.
std::optional<std::vector<String>> ExpandArguments(const std::vector<String> &arguments,
                                                   const FindPlaceholder &find, String *reason);

/// Why an argument cannot be filled whatever its placeholders stand for (a brace that is not
/// closed, an empty name); empty when it can.
String CheckPlaceholders(const String &argument);

/// The placeholders of a job: those of `given` ("Frame", "FirstFrame", "LastFrame", "Output", ...),
/// then "ID", the job's identifier, then any parameter or the type's default for it; "Note",
/// "Name" and "Arguments" are there always, perhaps empty. Paths are "Note", which of a job command
/// is the selected frame, "ImageFormat", and what the type says is one. The job must outlive the
/// function that is returned.
FindPlaceholder JobPlaceholders(const Job &job, std::map<String, PlaceholderValue> given);

} // namespace corvan
