#include "cli/Patterns.h"

#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <filesystem>
#include <fmt/format.h>

#include "analysis/FramePattern.h"
#include "cli/Failure.h"
#include "cli/ShownText.h"
#include "corvan/Utf8.h"

namespace cli
{

namespace
{

String Absolute(const String &pattern, const ostrel::Path &folder)
{
    if (boost::algorithm::starts_with(pattern, "/"))
        return pattern;
    // As another machine of the farm writes a full path ("P:\shots"), where it is known what that
    // is here.
    const ostrel::Path local = ostrel::Path(pattern).TranslateToLocal(ostrel::PathKind::Pattern);
    if (boost::algorithm::starts_with(local.Text(), "/"))
        return local.Text();

    std::string literal = folder.Text();
    boost::algorithm::replace_all(literal, "%", "%%");
    return literal + "/" + pattern;
}

} // namespace

std::optional<String> ReadPattern(const String &text, const ostrel::Path &folder, String *reason)
{
    const String pattern = Absolute(analysis::PatternFromHashes(text), folder);
    if (!analysis::FramePattern::Parse(pattern, reason))
        return std::nullopt;
    return pattern;
}

String NeedPattern(const String &text, ExitStatus refusal)
{
    String reason;
    const std::optional<String> pattern =
        ReadPattern(text, ostrel::Path(std::filesystem::current_path().string()), &reason);
    if (!pattern)
        throw new Failure(refusal,
                          "cannot take the pattern '" + corvan::Excerpt(text) + "': " + reason);
    if (*pattern != text)
        fmt::print(stderr, "pattern: {}\n", ShownText(*pattern));
    return *pattern;
}

String JoinPatterns(std::span<const String> patterns)
{
    String value;
    for (const String &pattern : patterns)
    {
        if (!value.empty())
            value += ';';
        for (const char c : pattern)
        {
            if (c == ';' || c == '"' || c == '\\')
                value += '\\';
            value += c;
        }
    }
    return value;
}

} // namespace cli
