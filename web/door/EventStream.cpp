#include "web/door/EventStream.h"

namespace web
{

std::string EventText(const std::string &name, const std::string &json)
{
    return "event: " + name + "\ndata: " + json + "\n\n";
}

} // namespace web
