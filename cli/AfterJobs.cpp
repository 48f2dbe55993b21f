#include "cli/AfterJobs.h"

#include <boost/algorithm/string/split.hpp>
#include <boost/algorithm/string/trim.hpp>

#include "cli/FindJob.h"
#include "corvan/AfterJobs.h"
#include "corvan/Parameters.h"

namespace cli
{

String FindAfterJobs(Client &client, const std::vector<std::string> &texts)
{
    std::vector<UID> jobs;
    for (const std::string &text : texts)
    {
        // It need not be there any more: whoever sets the value again keeps what it has.
        UID job;
        jobs.push_back(job.FromString(text) ? job : FindJob(client, text)->ID());
    }
    return corvan::WriteAfterJobs(jobs);
}

Setting ResolveAfterJobs(Client &client, const Setting &setting)
{
    const auto &[name, value] = setting;
    if ((name != corvan::p_After && name != corvan::p_AfterGood) || value.empty())
        return setting;
    std::vector<std::string> texts;
    boost::algorithm::split(texts, std::string(value), [](char c) { return c == ','; });
    for (std::string &text : texts)
        boost::algorithm::trim(text);
    return {name, FindAfterJobs(client, texts)};
}

} // namespace cli
