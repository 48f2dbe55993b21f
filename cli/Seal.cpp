#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <map>

#include "check/CheckException.h"
#include "check/SealedFrames.h"
#include "cli/CheckArguments.h"
#include "cli/CheckText.h"
#include "cli/FrameVerb.h"
#include "cli/RangeText.h"
#include "cli/ShownText.h"
#include "cli/SignalPause.h"
#include "corvan/AnalysisOptions.h"

namespace cli
{

using check::CheckState;
using check::CheckTable;
using Items = corvan::SequenceDistributor::Items;

namespace
{

/// A file as a pass has seen it.
using Look = std::pair<std::uint64_t, std::int64_t>; // Its size and date.

class Seal : public FrameVerb
{
public:
    Seal() : FrameVerb(k_CannotLook), m_out(stdout) {}

    CLI::App *Declare(CLI::App &app) override
    {
        CLI::App *verb =
            app.add_subcommand("seal", "write the hashes of good frames, for check --sealed");
        m_subject.Declare(*verb, SubjectArguments::Takes::JobOrPatterns);
        m_check.Declare(*verb);
        verb->add_option("--to", m_to,
                         "the hash list, in a folder that has all the frames (in each folder of "
                         "frames one of the folder's name, such as beauty/beauty.mhl)")
            ->type_name("FILE");
        verb->add_flag("--renew", m_wish.renews,
                       "seal frames as they are that are not what was sealed");
        verb->add_flag("--watch", m_isWatching,
                       "go on, pass after pass, and seal what has become complete, until all is");
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        if (!m_to.empty())
            m_wish.to = NeedList(m_to);
        if (m_isWatching)
            m_check.ExpectPasses();
        CheckSubject subject = m_subject.Find(client);
        for (CheckTable &table : subject.tables)
        {
            WriteHeading(m_out, table, subject.input.userRange);
            m_out.Flush();
            ListFrames(subject.input, table);
            m_check.Check(table);
            if (!m_isWatching)
                SealOnce(table);
        }
        m_check.EndPass();
        if (m_isWatching)
            Watch(subject, corvan::ReadAnalysisOptions(client.Options()).refreshMs);
        m_out.Flush();
        const bool isAll = std::ranges::all_of(subject.tables, IsGood);
        return StatusUnlessUnseen(subject, isAll && !m_isInterrupted ? k_Done : k_BadFrames);
    }

private:
    static bool IsGood(const CheckTable &table)
    {
        return std::ranges::all_of(table.states,
                                   [](CheckState state) { return state == CheckState::Ok; });
    }

    static ostrel::Path NeedList(const std::string &text)
    {
        const std::filesystem::path file = std::filesystem::absolute(text).lexically_normal();
        const std::filesystem::path folder = file.parent_path();
        if (!file.has_filename() || !std::filesystem::is_directory(folder))
            throw new Failure(k_WrongUsage, "--to " + text + ": there is no folder for it");
        if (folder.filename() == "ascmhl")
            throw new Failure(k_WrongUsage,
                              "--to " + text +
                                  ": in a folder ascmhl are lists that belong to a "
                                  "chain, which is not kept here; name a file elsewhere");
        return ostrel::Path(ostrel::String(file.string()));
    }

    void SealOnce(CheckTable &table)
    {
        const auto sealed =
            m_check.Seal(table, std::vector<bool>(table.frames.size(), true), m_wish);
        WriteReport(m_out, table, WantsColours(stdout));
        const std::size_t all = sealed.now.size() + sealed.already.size();
        m_out << fmt::format("{} of {} sealed, {} of them now", all, table.frames.size(),
                             sealed.now.size());
        for (const ostrel::Path &list : sealed.lists)
            m_out << (&list == sealed.lists.data() ? ": " : ", ") << ShownText(list.Text());
        m_out << '\n';
    }

    void Watch(CheckSubject &subject, int refreshMs)
    {
        m_seen.resize(subject.tables.size());
        for (std::size_t at = 0; at < subject.tables.size(); ++at)
            NoteLooks(at, subject.tables[at]);
        for (;;)
        {
            if (PauseUnlessEnded(std::chrono::milliseconds(std::max(refreshMs, 1))))
            {
                m_isInterrupted = true;
                return;
            }
            std::size_t left = 0;
            for (std::size_t at = 0; at < subject.tables.size(); ++at)
                left += SealAgain(at, subject.tables[at]);
            m_check.EndPass();
            if (left == 0)
                return;
        }
    }

    /// Seals what two passes have found alike; gives how many frames are left. A folder that cannot
    /// be looked into now may come back.
    std::size_t SealAgain(std::size_t at, CheckTable &table)
    {
        try
        {
            m_check.Check(table);
            const auto sealed = m_check.Seal(table, NoteLooks(at, table), m_wish);
            if (!sealed.now.empty())
                Tell("sealed", sealed.now, sealed.lists);
            const Items changed = FindFrames(table, CheckState::Changed);
            if (!changed.empty() && !(changed == m_changed[at]))
                Tell("changed since it was sealed", changed, sealed.lists);
            m_changed[at] = changed;
            m_trouble.clear();
            return table.frames.size() - sealed.now.size() - sealed.already.size();
        }
        catch (ostrel::Exception *raw)
        {
            const std::unique_ptr<ostrel::Exception> error(raw);
            if (error->Text() != m_trouble)
                fmt::print(stderr, "corvan: {}\n", ShownText(error->Text()));
            m_trouble = error->Text();
            return table.frames.size();
        }
    }

    /// Which rows are as they were the pass before.
    std::vector<bool> NoteLooks(std::size_t at, const CheckTable &table)
    {
        std::vector<bool> isStill;
        std::map<int, Look> now;
        for (const analysis::FrameRecord &frame : table.frames)
        {
            const Look look{frame.size, frame.modified.First()};
            const auto before = m_seen[at].find(frame.frame);
            isStill.push_back(frame.exists && before != m_seen[at].end() && before->second == look);
            if (frame.exists)
                now.emplace(frame.frame, look);
        }
        m_seen[at] = std::move(now);
        return isStill;
    }

    void Tell(const char *what, const Items &frames, const std::vector<ostrel::Path> &lists)
    {
        m_out << ostrel::Time::Now().Format(ostrel::k_DateTimeNoMS, true, false) << "  " << what
              << "  " << RangeText(frames);
        for (const ostrel::Path &list : lists)
            m_out << "  " << ShownText(list.Text());
        m_out << '\n';
        m_out.Flush();
    }

    CheckArguments m_check;
    check::SealWish m_wish;
    std::string m_to;
    bool m_isWatching = false;
    bool m_isInterrupted = false;
    Output m_out;
    std::vector<std::map<int, Look>> m_seen; ///< By table and frame, the pass before.
    std::map<std::size_t, Items> m_changed;  ///< That were told of.
    ostrel::String m_trouble;                ///< Of the pass before.
};

} // namespace

std::unique_ptr<Verb> MakeSeal()
{
    return std::make_unique<Seal>();
}

} // namespace cli
