// The tokenizer: it ends, makes nothing up, and reads back fields that were quoted for it.

#include <vector>

#include "fuzz/Require.h"
#include "ostrel/StringTokenizer.h"

using ostrel::String;
using ostrel::StringTokenizer;

namespace
{

std::vector<String> Fields(const String &text, bool keepEmpty)
{
    StringTokenizer tokenizer(text, ';', keepEmpty, '"', '\\');
    std::vector<String> fields;
    while (std::optional<String> field = tokenizer.GetNext())
        fields.push_back(*std::move(field));
    return fields;
}

String Escaped(const String &field)
{
    String escaped;
    for (const char character : field)
    {
        if (character == ';' || character == '"' || character == '\\')
            escaped += '\\';
        escaped += character;
    }
    return escaped;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    const String text(reinterpret_cast<const char *>(data), size);
    const std::vector<String> fields = Fields(text, true);
    Require(!fields.empty(), "every text has a field");

    String joined;
    std::size_t length = fields.size() - 1;
    for (const String &field : fields)
    {
        joined += (&field == &fields.front() ? "" : ";") + Escaped(field);
        length += field.size();
    }
    Require(length <= text.size(), "nothing is made up");
    Require(Fields(joined, true) == fields, "escaped fields come back");

    std::vector<String> filled = fields;
    std::erase(filled, String());
    Require(Fields(text, false) == filled, "only empty fields are passed over");
    return 0;
}
