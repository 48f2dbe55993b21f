#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "check/PlotSvg.h"
#include "cli/CheckArguments.h"
#include "cli/FrameVerb.h"
#include "ostrel/File.h"

namespace cli
{

namespace
{

/// Where the picture of one of several tables goes: "a.svg", "a-2.svg".
ostrel::Path FileOf(const std::string &file, std::size_t number)
{
    if (number == 1)
        return ostrel::Path(file);
    const ostrel::Path path(file);
    const String leaf = path.Leaf(true);
    const String stem = path.Leaf(false);
    const String folder = file.substr(0, file.size() - leaf.size());
    return folder + stem + "-" + std::to_string(number) + leaf.substr(stem.size());
}

class Plot : public FrameVerb
{
public:
    Plot() : FrameVerb(k_CannotLook) {}

    CLI::App *Declare(CLI::App &app) override
    {
        CLI::App *verb = app.add_subcommand("plot", "draw the sizes of frames as an SVG picture");
        m_subject.Declare(*verb, SubjectArguments::Takes::JobOrPatterns);
        m_check.Declare(*verb);
        verb->add_option("-o,--output", m_file,
                         "FILE.svg; of several formats the second goes to FILE-2.svg")
            ->required();
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        CheckSubject subject = m_subject.Find(client);
        std::size_t number = 0;
        for (check::CheckTable &table : subject.tables)
        {
            ListFrames(subject.input, table);
            m_check.Check(table);
            const ostrel::Path file = FileOf(m_file, ++number);
            ostrel::File::WriteWhole(
                file, PlotSvg(table, m_check.Rules().scan, check::ReadPlotColours()));
            fmt::print("{}\n", file.Text());
        }
        return k_Done;
    }

private:
    CheckArguments m_check;
    std::string m_file;
};

} // namespace

std::unique_ptr<Verb> MakePlot()
{
    return std::make_unique<Plot>();
}

} // namespace cli
