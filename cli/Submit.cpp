#include <CLI/CLI.hpp>

#include "cli/AfterJobs.h"
#include "cli/Patterns.h"
#include "cli/SubmitJob.h"
#include "cli/Verb.h"
#include "corvan/Parameters.h"
#include "corvan/Utf8.h"

namespace cli
{

namespace
{

class Submit : public Verb
{
public:
    CLI::App *Declare(CLI::App &app) override
    {
        CLI::App *verb = app.add_subcommand("submit", "give a new job to the Master");
        verb->add_option("TYPE", m_job.type, "the job type, such as POV-Ray")->required();
        verb->add_option("--name", m_job.name, "what to call the job");
        verb->add_option("--range", m_job.range, "the frames to render: 1-10, 1-100x5, 3,7,9");
        verb->add_option("--format", m_patterns,
                         "where frames are written: /renders/beauty.%04d.exr, also with ####, @@@@ "
                         "or $F4; may be given several times")
            ->allow_extra_args(false);
        verb->add_option("--set", m_settings, "NAME=VALUE, a parameter; may be given several times")
            ->allow_extra_args(false);
        verb->add_option("--after", m_after,
                         "begin when this job is done; may be several, and given several times");
        verb->add_option("--after-good", m_afterGood,
                         "the same, and its frames were checked and found good");
        verb->add_option("--order", m_order,
                         "which frames first: given, middle (outwards), or ends:N (first, last and "
                         "every N-th)");
        verb->add_flag("--paused", m_job.isPaused, "do not begin to render");
        verb->add_option(
            "--id", m_job.id,
            "the job's identifier, a UUID; the same job sent again with it is the same "
            "job");
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        for (const std::string &text : m_settings)
        {
            const std::optional<Setting> setting = ParseSetting(text);
            if (!setting)
                throw new Failure(k_WrongUsage,
                                  "--set wants NAME=VALUE, not '" + corvan::Excerpt(text) + "'");
            m_job.settings.push_back(ResolveAfterJobs(client, *setting));
        }
        if (!m_order.empty())
            m_job.settings.emplace_back(corvan::p_FrameOrder, m_order);
        if (!m_after.empty())
            m_job.settings.emplace_back(corvan::p_After, FindAfterJobs(client, m_after));
        if (!m_afterGood.empty())
            m_job.settings.emplace_back(corvan::p_AfterGood, FindAfterJobs(client, m_afterGood));
        for (const std::string &text : m_patterns)
            m_job.patterns.push_back(NeedPattern(text));

        PrintNewJob(SubmitJob(client, MakeJob(m_job)));
        return k_Done;
    }

private:
    NewJob m_job;
    std::vector<std::string> m_patterns;
    std::vector<std::string> m_settings;
    std::vector<std::string> m_after;
    std::vector<std::string> m_afterGood;
    std::string m_order;
};

} // namespace

std::unique_ptr<Verb> MakeSubmit()
{
    return std::make_unique<Submit>();
}

} // namespace cli
