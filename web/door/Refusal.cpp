#include "web/door/Refusal.h"

namespace web
{

Response ToResponse(const Refusal &refusal)
{
    Response response = ErrorResponse(refusal.status, refusal.sentence);
    if (!refusal.field.empty())
        response.headers.emplace_back(refusal.field, refusal.value);
    return response;
}

} // namespace web
