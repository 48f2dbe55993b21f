#include "corvan/ImageFormats.h"

#include "corvan/Parameters.h"
#include "ostrel/StringTokenizer.h"

namespace corvan
{

namespace
{

constexpr char k_separator = ';';
constexpr char k_quote = '"';
constexpr char k_escape = '\\';

} // namespace

std::vector<Path> ListFormats(const String &formats)
{
    std::vector<Path> patterns;
    ostrel::StringTokenizer tokens(formats, k_separator, false, k_quote, k_escape);
    while (const auto token = tokens.GetNext())
        patterns.push_back(Path(*token).TranslateToLocal(ostrel::PathKind::Pattern));
    return patterns;
}

String ShareFormats(const String &formats)
{
    String shared;
    ostrel::StringTokenizer tokens(formats, k_separator, true, k_quote, k_escape);
    for (bool isFirst = true; tokens.GetNext(); isFirst = false)
    {
        if (!isFirst)
            shared += k_separator;
        const String raw = tokens.RawField();
        const std::size_t begin = raw.starts_with(k_quote) ? 1 : 0;
        shared += raw.substr(0, begin);
        shared += Path(raw.substr(begin)).TranslateToShared(ostrel::PathKind::Pattern).Text();
    }
    return shared;
}

String SharedValue(const String &parameter, const String &value)
{
    return parameter == p_ImageFormat ? ShareFormats(value) : value;
}

} // namespace corvan
