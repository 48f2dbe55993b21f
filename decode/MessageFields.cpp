#include "decode/MessageFields.h"

namespace decode
{

namespace
{

constexpr char k_separator = '\0';

} // namespace

std::vector<std::string_view> SplitFields(std::string_view message)
{
    std::vector<std::string_view> fields;
    for (std::size_t end = 0; (end = message.find(k_separator)) != std::string_view::npos;)
    {
        fields.push_back(message.substr(0, end));
        message.remove_prefix(end + 1);
    }
    fields.push_back(message);
    return fields;
}

std::string JoinFields(const std::vector<std::string_view> &fields)
{
    std::string message;
    for (const std::string_view &field : fields)
    {
        if (&field != &fields.front())
            message += k_separator;
        message += field;
    }
    return message;
}

} // namespace decode
