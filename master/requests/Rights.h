#pragma once

#include <optional>

#include "corvan/Message.h"
#include "master/door/Identity.h"
#include "ostrel/UID.h"

namespace master
{

using corvan::Message;
using ostrel::UID;

/// What a message asks for.
enum class Right
{
    Watch,
    Submit,
    Edit, ///< Of the job that it is about.
    Administer,
};

/// The right that a message needs, and the job that it is about: nil where that does not matter.
struct Need
{
    Right right;
    UID job;
};

/// What this message needs: the one table that says so. Nothing for a message without a row, which
/// is one that the Master does not take.
std::optional<Need> FindNeed(const Message &message);

/// A right that a user lacks.
struct MissingRight
{
    String name;     ///< By the role that is the first to have it: "edit-own".
    String sentence; ///< For people: with the user and the role.
};

/// Which right is missing for that; nothing where none is. `owner` is that of the job that is to be
/// edited, empty where it has none or there is no such job.
std::optional<MissingRight> FindMissingRight(const Identity &who, Right needed,
                                             const String &owner);

} // namespace master
