#include <cassert>

#include "corvan/Digit.h"
#include "corvan/Job.h"
#include "corvan/JobType.h"

namespace corvan
{

namespace
{

String DoublePercents(const String &text)
{
    String doubled;
    for (const char c : text)
        doubled.append(c == '%' ? 2 : 1, c);
    return doubled;
}

/// Where the extension of a leaf begins, its dot; the leaf's length when it has none. Digits alone
/// are no extension.
std::size_t FindExtension(const String &leaf)
{
    const std::size_t dot = leaf.rfind('.');
    if (dot == String::npos || dot == 0)
        return leaf.size();
    const bool isNumber =
        dot + 1 < leaf.size() && leaf.find_first_not_of("0123456789", dot + 1) == String::npos;
    return isNumber ? leaf.size() : dot;
}

String SpecifierFor(const String &digits)
{
    const bool isPadded = digits.size() >= 4 || (digits.size() > 1 && digits[0] == '0');
    return isPadded ? "%0" + std::to_string(digits.size()) + "d" : String("%d");
}

} // namespace

RenderJob::RenderJob(boost::shared_ptr<const JobType> type) : Job(std::move(type))
{
    assert(Type().rendersFrames && "a render job is of a type that renders frames");
}

bool RenderJob::GetParameter(const String &name, String &value) const
{
    if (Job::GetParameter(name, value))
        return true;
    if (name == p_CustomRange && Type().hasCustomRange)
    {
        value.clear();
        return true;
    }
    if (name != p_UserRange)
        return false;

    const String *custom = Find(p_CustomRange);
    const String *range = custom && !custom->empty() ? custom : Find(p_Range);
    if (!range)
        return false;
    value = *range;
    return true;
}

bool RenderJob::SetParameter(const String &name, const String &value)
{
    if (!Job::SetParameter(name, value))
        return false;
    if (name == p_Range || name == p_CustomRange)
        Remove(p_UserRange);
    return true;
}

String RenderJob::GetSpecifierFromFilename(const ostrel::Path &filename)
{
    const String &path = filename.Text();
    const String leaf = filename.Leaf(true);
    const String folder = path.substr(0, path.size() - leaf.size());

    std::size_t end = FindExtension(leaf);
    while (end > 0 && !IsDigit(leaf[end - 1]))
        --end;
    if (end == 0)
        return DoublePercents(path);

    std::size_t begin = end;
    while (begin > 0 && IsDigit(leaf[begin - 1]))
        --begin;
    return DoublePercents(folder + leaf.substr(0, begin)) +
           SpecifierFor(leaf.substr(begin, end - begin)) + DoublePercents(leaf.substr(end));
}

} // namespace corvan
