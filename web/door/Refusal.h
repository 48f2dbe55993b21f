#pragma once

#include "web/door/Response.h"

namespace web
{

/// Why a request does not come in.
struct Refusal
{
    unsigned status = 0;
    String sentence;
    String field{}; ///< One that its answer has: "Allow"; empty for none.
    String value{};
};

Response ToResponse(const Refusal &refusal);

} // namespace web
