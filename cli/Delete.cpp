#include <CLI/CLI.hpp>
#include <cstdio>
#include <fmt/format.h>
#include <iostream>
#include <set>

#include "cli/FrameSelection.h"
#include "cli/FrameVerb.h"
#include "cli/ShownText.h"
#include "ostrel/File.h"

namespace cli
{

using ostrel::Path;

namespace
{

class Delete : public FrameVerb
{
public:
    Delete() : FrameVerb(k_Refused) {}

    CLI::App *Declare(CLI::App &app) override
    {
        CLI::App *verb = app.add_subcommand("delete", "delete the files of frames");
        m_subject.Declare(*verb, SubjectArguments::Takes::JobOrPatterns);
        m_selection.Declare(*verb);
        verb->add_flag("--yes", m_isSure, "do not ask");
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        CheckSubject subject = m_subject.Find(client);
        const std::set<Path> paths = SelectedPaths(subject);
        if (paths.empty())
        {
            fmt::print(stderr, "there is no such file; nothing was done\n");
            return StatusUnlessUnseen(subject, k_Done);
        }
        if (!m_isSure && !IsAgreed(paths))
        {
            fmt::print(stderr, "nothing was deleted\n");
            return k_Refused;
        }
        const ExitStatus status = DeleteAll(paths);
        return status == k_Done ? StatusUnlessUnseen(subject, k_Done) : status;
    }

private:
    /// Of files that are there; a missing frame has none.
    std::set<Path> SelectedPaths(CheckSubject &subject)
    {
        std::set<Path> paths;
        const auto rows = m_selection.Find(subject);
        for (std::size_t table = 0; table < rows.size(); ++table)
            for (const std::size_t row : rows[table])
                if (subject.tables[table].frames[row].exists)
                    paths.insert(subject.tables[table].PathOf(row));
        return paths;
    }

    static bool IsAgreed(const std::set<Path> &paths)
    {
        fmt::print(stderr, "Delete {} {}, the first {}? [y/N] ", paths.size(),
                   paths.size() == 1 ? "file" : "files", ShownText(paths.begin()->Text()));
        std::string answer;
        std::getline(std::cin, answer);
        return answer == "y" || answer == "Y" || answer == "yes";
    }

    static ExitStatus DeleteAll(const std::set<Path> &paths)
    {
        ExitStatus status = k_Done;
        for (const Path &path : paths)
        {
            if (ostrel::File::Delete(path, false))
                fmt::print("{}\n", ShownOn(stdout, path.Text()));
            else
            {
                fmt::print(stderr, "corvan: cannot delete {}\n", ShownText(path.Text()));
                status = k_Refused;
            }
        }
        return status;
    }

    FrameSelection m_selection;
    bool m_isSure = false;
};

} // namespace

std::unique_ptr<Verb> MakeDelete()
{
    return std::make_unique<Delete>();
}

} // namespace cli
