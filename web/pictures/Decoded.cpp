#include "web/pictures/Decoded.h"

#include <boost/algorithm/string/replace.hpp>
#include <boost/algorithm/string/split.hpp>
#include <nlohmann/json.hpp>
#include <vector>

#include "decode/Findings.h"

namespace web
{

std::string DecodedJson(const decode::ImageReport &report)
{
    const decode::ImageFinding finding = decode::JudgeImages({&report}, 0).front();
    // Those of further parts follow after " + ".
    const std::string all = boost::replace_all_copy(std::string(report.channels), " + ", ",");
    std::vector<std::string> channels;
    if (!all.empty())
        boost::split(channels, all, [](char c) { return c == ','; });

    const auto known = [](int value)
    { return value > 0 ? nlohmann::ordered_json(value) : nlohmann::ordered_json(nullptr); };
    const nlohmann::ordered_json decoded{{"width", known(report.width)},
                                         {"height", known(report.height)},
                                         {"channels", channels},
                                         {"format", std::string(report.format)},
                                         {"detail", std::string(finding.detail)},
                                         {"trouble", std::string(report.trouble)}};
    return decoded.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace web
