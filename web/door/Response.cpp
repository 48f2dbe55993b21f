#include "web/door/Response.h"

#include <nlohmann/json.hpp>

namespace web
{

Response JsonResponse(std::string json, unsigned status)
{
    Response response;
    response.status = status;
    response.body = std::make_shared<const std::string>(std::move(json));
    return response;
}

Response ErrorResponse(unsigned status, const String &sentence)
{
    const nlohmann::json error{{"error", static_cast<const std::string &>(sentence)}};
    return JsonResponse(error.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n",
                        status);
}

} // namespace web
