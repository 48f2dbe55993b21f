#pragma once

#include <ctime>
#include <string>

#include "web/door/Response.h"

namespace web
{

enum class AfterAnswer
{
    KeepAlive,
    Close,
};

/// The head of an answer, with what every answer has: no script but this server's own files, no
/// frame around it, no guessing of types, nothing of it for pages of other sites.
///
/// A control character in a field's value is written as "?".
std::string AnswerHead(const Response &response, AfterAnswer after, std::time_t now);

/// The same for one that goes on without an end: an event stream.
std::string StreamHead(std::time_t now);

} // namespace web
