#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "check/PlotSvg.h"
#include "cli/CheckArguments.h"
#include "cli/FrameVerb.h"
#include "cli/PictureFile.h"
#include "cli/ShownText.h"

namespace cli
{

namespace
{

class Plot : public FrameVerb
{
public:
    Plot() : FrameVerb(k_CannotLook) {}

    CLI::App *Declare(CLI::App &app) override
    {
        CLI::App *verb = app.add_subcommand("plot", "draw the sizes of frames as an SVG picture");
        m_subject.Declare(*verb, SubjectArguments::Takes::JobOrPatterns);
        m_check.Declare(*verb);
        m_check.DeclareSealed(*verb);
        verb->add_option(
                "-o,--output", m_file,
                "the picture, in a folder that is there, or - for standard output; of several "
                "formats the second goes to FILE-2.svg")
            ->required()
            ->type_name("FILE.svg");
        return verb;
    }

    ExitStatus Run(Client &client) override
    {
        CheckSubject subject = m_subject.Find(client);
        if (IsStandardOutput(m_file) && subject.tables.size() > 1)
            throw new Failure(k_WrongUsage, "standard output takes one picture, and there are " +
                                                std::to_string(subject.tables.size()) +
                                                " formats; name a file, or choose one by "
                                                "--format-index");
        std::size_t number = 0;
        for (check::CheckTable &table : subject.tables)
        {
            ListFrames(subject.input, table);
            m_check.Check(table);
            const ostrel::Path file = PictureFile(m_file, ++number);
            if (WritePicture(file, PlotSvg(table, m_check.Rules().scan, check::ReadPlotColours())))
                fmt::print("{}\n", ShownOn(stdout, file.Text()));
        }
        return StatusUnlessUnseen(subject, k_Done);
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
