#include <CLI/CLI.hpp>
#include <unistd.h>

#include "cli/CheckJson.h"
#include "cli/CheckRules.h"
#include "cli/CheckSubject.h"
#include "cli/CheckText.h"
#include "cli/DecodeTable.h"
#include "cli/LookAtTable.h"
#include "cli/ProgressBar.h"
#include "cli/Verb.h"

namespace cli
{

namespace
{

class Check : public Verb
{
public:
    CLI::App *Declare(CLI::App &app) override
    {
        CLI::App *verb = app.add_subcommand("check", "say which frames are bad, without a window");
        m_subject.Declare(*verb, SubjectArguments::Takes::JobOrPatterns);
        m_rules.Declare(*verb);
        m_decode.Declare(*verb);
        CLI::Option *json = verb->add_flag("--json", m_asJson, "all frames as JSON");
        CLI::Option *paths = verb->add_flag("--paths", m_asPaths, "the paths of bad frames alone");
        paths->excludes(json);
        verb->add_flag("-0", m_isZeroEnded, "end each path with a zero byte, not a newline")
            ->needs(paths);
        return verb;
    }

    bool NeedsMaster() const override
    {
        return m_subject.IsJob();
    }
    ExitStatus RefusalStatus() const override
    {
        return k_CannotLook;
    }

    ExitStatus Run(Client &client) override
    {
        CheckSubject subject = m_subject.Find(client);
        Output out(stdout);
        for (CheckTable &table : subject.tables)
            CheckOne(subject, table, out);
        if (m_asJson)
            WriteJson(out, subject.job.get(), subject.tables, m_decode.IsWanted());

        const bool hasBad = std::any_of(subject.tables.begin(), subject.tables.end(), HasBad);
        return hasBad ? k_BadFrames : k_Done;
    }

private:
    bool IsText() const
    {
        return !m_asJson && !m_asPaths;
    }

    void CheckOne(const CheckSubject &subject, CheckTable &table, Output &out)
    {
        if (IsText())
        {
            // Before anything that takes long.
            WriteHeading(out, table, subject.input.userRange);
            out.Flush();
        }
        ListFrames(subject.input, table);
        Look(table);
        if (IsText())
            WriteReport(out, table, WantsColours(stdout));
        else if (m_asPaths)
            WriteBadPaths(out, table);
    }

    void Look(CheckTable &table)
    {
        ProgressBar bar(stderr, true);
        const bool isShown = isatty(STDERR_FILENO) == 1;
        const auto show = [&](std::size_t done, std::size_t all)
        {
            if (isShown)
                bar.Show({unsigned(all), unsigned(done), 0});
        };
        LookAtTable(table, {m_rules.Rules(), m_rules.Order(), m_rules.LookAgain()}, m_clock, show);
        if (m_decode.IsWanted())
            DecodeTable(table, m_rules.Rules().frameOffset, m_decode.Limits(), show);
        bar.Clear();
    }

    void WriteBadPaths(Output &out, const CheckTable &table) const
    {
        for (std::size_t row = 0; row < table.frames.size(); ++row)
            if (table.states[row] != CheckState::Ok)
                out << table.PathOf(row).Text() << (m_isZeroEnded ? '\0' : '\n');
    }

    static bool HasBad(const CheckTable &table)
    {
        return !FindBadFrames(table).empty();
    }

    SubjectArguments m_subject;
    RulesArguments m_rules;
    DecodeArguments m_decode;
    bool m_asJson = false;
    bool m_asPaths = false;
    bool m_isZeroEnded = false;
    SystemClock m_clock;
};

} // namespace

std::unique_ptr<Verb> MakeCheck()
{
    return std::make_unique<Check>();
}

} // namespace cli
