#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ostrel/String.h"

namespace web
{

using ostrel::String;

/// An answer. The body is shared, so that what is kept for many is not copied for each.
struct Response
{
    unsigned status = 200;
    std::string type = "application/json";
    std::shared_ptr<const std::string> body; ///< Null for none.
    /// "ETag", "Cache-Control" and the like, without line breaks; what every answer has is the
    /// door's. Without "Cache-Control" nobody keeps it.
    std::vector<std::pair<std::string, std::string>> headers{};
};

Response JsonResponse(std::string json, unsigned status = 200);
/// `{"error": SENTENCE}`; bytes of it that are no UTF-8 are replaced.
Response ErrorResponse(unsigned status, const String &sentence);

/// Takes the answer, once; now or later, on the loop's thread. One that is dropped without an
/// answer answers 500.
using Reply = std::function<void(Response)>;

} // namespace web
