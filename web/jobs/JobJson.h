#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "corvan/Messages.h"
#include "ostrel/Time.h"

namespace web
{

using ostrel::String;

/// What stands of a job in a list: see docs/api.md.
nlohmann::ordered_json JobRow(const corvan::Job &job);
/// The same with its formats, its parameters, what can be done with it and how long its frames
/// take.
nlohmann::ordered_json JobWhole(const corvan::Job &job);
nlohmann::ordered_json TaskRow(const corvan::TaskInfo &task);

/// In one line; bytes that are no UTF-8 are replaced.
std::string JsonText(const nlohmann::ordered_json &json);
/// A text as JSON, with its quotes.
std::string JsonText(const String &text);

/// "2026-11-20T14:03:09.123456789Z"
std::string TimeText(ostrel::Time time);

} // namespace web
