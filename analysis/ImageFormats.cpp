#include "analysis/ImageFormats.h"

#include "ostrel/StringTokenizer.h"

namespace analysis
{

std::vector<ostrel::Path> ListFormats(const ostrel::String &formats)
{
    std::vector<ostrel::Path> patterns;
    ostrel::StringTokenizer tokens(formats, ';', false, '"', '\\');
    while (const auto token = tokens.GetNext())
        patterns.push_back(ostrel::Path(*token).TranslateToLocal());
    return patterns;
}

} // namespace analysis
