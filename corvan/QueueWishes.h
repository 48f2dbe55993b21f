#pragma once

#include <span>
#include <utility>
#include <vector>

#include "ostrel/String.h"

namespace corvan
{

using ostrel::String;

class Job;

/// One of the wishes that a job has for the queue of a cluster: a parameter, with a default in its
/// type or not. A Master that runs commands on its own machine passes them over.
struct QueueWishName
{
    const char *name;
    const char *what;                ///< What a value is, for people: "a time, as 30, 12:30:00".
    bool (*isValue)(const String &); ///< Of a text that is not empty.
};
std::span<const QueueWishName> QueueWishNames();

/// The wish of this name; null for none.
const QueueWishName *FindQueueWish(const String &name);

/// Why a text is no value of a wish, as a sentence that names it; empty where it is one. An empty
/// text is: it leaves it to the cluster. A value is a word to whoever reads it: it has no blanks,
/// and does not begin with "-".
String CheckQueueWish(const QueueWishName &wish, const String &text);

/// Names and values of the wishes that a job has; what is no value is left out.
std::vector<std::pair<String, String>> QueueWishesOf(const Job &job);

} // namespace corvan
