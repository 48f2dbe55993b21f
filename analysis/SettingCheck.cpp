#include "analysis/SettingCheck.h"

#include <boost/algorithm/string/predicate.hpp>

#include "analysis/FramePattern.h"
#include "corvan/ImageFormats.h"
#include "corvan/Job.h"
#include "corvan/JobType.h"
#include "corvan/Parameters.h"
#include "corvan/Utf8.h"

namespace analysis
{

using boost::algorithm::iequals;
using corvan::Excerpt;

namespace
{

/// How a name is written that is known in another case; empty for one that is not.
String OtherSpelling(const corvan::Job &job, const String &name)
{
    for (const String &known : corvan::ParameterNames())
        if (iequals(known, name))
            return known == name ? String() : known;

    String value;
    if (job.GetParameter(name, value) || job.Type().FindDefault(name))
        return {};
    for (const auto &[known, itsValue] : job.Parameters())
        if (iequals(known, name))
            return known;
    for (const auto &[known, itsValue] : job.Type().defaults)
        if (iequals(known, name))
            return known;
    return {};
}

String CheckName(const corvan::Job &job, const String &name)
{
    if (iequals(name, "ID"))
        return name + ": the identifier of a job cannot be set";
    const String known = OtherSpelling(job, name);
    return known.empty() ? String() : String(name + ": the parameter is called " + known);
}

bool IsLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// As any machine of the farm writes a full path: "/", "\\" or "P:" at its begin.
bool IsFullPath(const String &path)
{
    if (path.starts_with('/') || path.starts_with('\\'))
        return true;
    return path.size() > 1 && IsLetter(path[0]) && path[1] == ':';
}

String CheckFormats(const String &value)
{
    const std::vector<ostrel::Path> formats = corvan::ListFormats(value);
    if (formats.empty())
        return "ImageFormat: there is no pattern in it";
    for (const ostrel::Path &format : formats)
    {
        const String pattern = "ImageFormat: \"" + Excerpt(format.Text()) + "\"";
        String reason;
        if (!FramePattern::Parse(format.Text(), &reason))
            return pattern + ": " + reason;
        if (!IsFullPath(format.Text()))
            return pattern + " is no full path; commands do not run in your folder";
    }
    return {};
}

} // namespace

String CheckSetting(const corvan::Job &job, const String &name, const String &value)
{
    if (String reason = job.CheckParameter(name, value); !reason.empty())
        return reason;
    if (String reason = CheckName(job, name); !reason.empty())
        return reason;
    return name == corvan::p_ImageFormat ? CheckFormats(value) : String();
}

} // namespace analysis
