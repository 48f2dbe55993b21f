#include "corvan/AnalysisOptions.h"

#include <type_traits>

#include "ostrel/IniFile.h"
#include "ostrel/SFormat.h"

namespace corvan
{

String AnalysisText(const AnalysisOption &option, const AnalysisOptions &options)
{
    return std::visit(
        [&options](auto field) -> String
        {
            const auto value = options.*field;
            if constexpr (std::is_same_v<decltype(value), const bool>)
                return value ? ostrel::k_Yes : ostrel::k_No;
            else if constexpr (std::is_same_v<decltype(value), const float>)
                return ostrel::SFormat("%g", value);
            else
                return std::to_string(value);
        },
        option.field);
}

AnalysisOptions ReadAnalysisOptions(const ostrel::IniFile &options)
{
    AnalysisOptions read;
    for (const AnalysisOption &option : k_AnalysisOptions)
        std::visit([&](auto field)
                   { read.*field = options.GetValue(k_Analysis, option.key, read.*field); },
                   option.field);
    return read;
}

} // namespace corvan
