#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>

#include "cli/CheckArguments.h"
#include "cli/CheckWriter.h"
#include "cli/Crops.h"
#include "cli/FrameVerb.h"
#include "cli/ShownText.h"
#include "cli/SignalPause.h"
#include "corvan/AnalysisOptions.h"

namespace cli
{

using check::CheckState;
using check::CheckTable;

namespace
{

bool HasBad(const CheckTable &table)
{
    return std::any_of(table.states.begin(), table.states.end(),
                       [](CheckState state) { return state != CheckState::Ok; });
}

class Check : public FrameVerb
{
public:
    Check() : FrameVerb(k_CannotLook) {}

    CLI::App *Declare(CLI::App &app) override
    {
        CLI::App *verb = app.add_subcommand("check", "say which frames are bad, without a window");
        m_subject.Declare(*verb, SubjectArguments::Takes::JobOrPatterns);
        m_check.Declare(*verb);
        CLI::Option *const sealed = m_check.DeclareSealed(*verb);
        m_crops.Declare(*verb);
        m_writer.Declare(*verb);
        verb->add_flag("--watch", m_isWatching,
                       "go on, pass after pass, and tell what changes, until interrupted")
            ->excludes(verb->get_option("--paths"))
            ->excludes(sealed);
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        m_check.NeedSense();
        // Ended before the first pass is over, not all frames were looked at.
        if (m_isWatching)
        {
            EndWith(k_CannotLook);
            m_check.ExpectPasses();
        }
        CheckSubject subject = m_subject.Find(client);
        for (CheckTable &table : subject.tables)
        {
            m_writer.Begin(table, subject.input.userRange);
            ListFrames(subject.input, table);
            m_check.Check(table);
            // Before the report is told: whoever reads it may end this at once.
            if (m_isWatching && &table == &subject.tables.back())
                EndWith(StatusOf(subject));
            m_writer.Write(table);
        }
        m_check.EndPass();
        m_writer.End(subject, m_check.Depth());
        WriteCrops(subject);
        if (m_isWatching)
            Watch(subject, corvan::ReadAnalysisOptions(client.Options()).refreshMs);

        return StatusOf(subject);
    }

private:
    ExitStatus StatusOf(const CheckSubject &subject) const
    {
        const bool hasBad = std::any_of(subject.tables.begin(), subject.tables.end(), HasBad);
        const ExitStatus status = StatusUnlessUnseen(subject, hasBad ? k_BadFrames : k_Done);
        return m_crops.AreWhole() && m_cropTrouble.empty() ? status : k_CannotLook;
    }

    void WriteCrops(const CheckSubject &subject)
    {
        if (m_crops.AreWanted())
            m_writer.WriteCrops(m_crops.Write(subject.tables, m_check.Limits()), m_crops.Folder());
    }

    void Watch(CheckSubject &subject, int refreshMs)
    {
        // The crops are written now. A pass that is broken off says nothing: the one before it
        // counts.
        EndWith(StatusOf(subject));
        while (!PauseUnlessEnded(std::chrono::milliseconds(std::max(refreshMs, 1))))
        {
            bool isNews = false;
            bool isAllSeen = true;
            for (CheckTable &table : subject.tables)
            {
                // A folder that cannot be looked into now may come back.
                const check::FrameStates before = StatesByFrame(table);
                const bool isSeen = Try(m_trouble, [&] { m_check.Check(table); });
                if (isSeen)
                {
                    // Before it is told: whoever reads it may end this at once.
                    EndWith(StatusOf(subject));
                    isNews |= TellChanges(before, table);
                }
                isAllSeen = isAllSeen && isSeen;
            }
            m_check.EndPass();
            if (isNews)
                m_writer.End(subject, m_check.Depth());
            if (isAllSeen)
                Try(m_cropTrouble, [&] { WriteCrops(subject); });
            EndWith(StatusOf(subject));
        }
    }

    /// True when it was done; else `trouble` is why, and told unless it was already.
    template <typename Action> static bool Try(String &trouble, Action action)
    {
        try
        {
            action();
            trouble.clear();
            return true;
        }
        catch (ostrel::Exception *raw)
        {
            const std::unique_ptr<ostrel::Exception> error(raw);
            if (error->Text() != trouble)
                fmt::print(stderr, "corvan: {}\n", ShownText(error->Text()));
            trouble = error->Text();
            return false;
        }
    }

    /// True when a state changed.
    bool TellChanges(const check::FrameStates &before, const CheckTable &table)
    {
        const StateChanges changes = FindChanges(before, table);
        if (!changes.empty())
            m_writer.WriteChanges(table, changes);
        return !changes.empty();
    }

    CheckArguments m_check;
    CheckWriter m_writer;
    Crops m_crops;
    bool m_isWatching = false;
    String m_trouble; ///< Of the pass before.
    String m_cropTrouble;
};

} // namespace

std::unique_ptr<Verb> MakeCheck()
{
    return std::make_unique<Check>();
}

} // namespace cli
