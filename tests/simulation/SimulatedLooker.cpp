#include "tests/simulation/SimulatedLooker.h"

#include "check/Digest.h"

namespace simulation
{

using check::LookAnswer;
using check::LookRequest;

namespace
{

// Hardly ever longer, so that some are taken for hanging.
constexpr unsigned k_longest_ms = 20'000;
constexpr std::chrono::seconds k_look_limit{18};

using VisitFile = std::function<void(int number, const Machine::File &file)>;

void VisitFiles(const Machine &machine, const LookRequest &request, const VisitFile &visit)
{
    analysis::ExpansionInput input = request.input;
    corvan::SequenceDistributor::ParseRange(input.userRange, input.frames, nullptr);
    for (const String &format : request.formats)
        analysis::ExpandFrames(*analysis::FramePattern::Parse(format, nullptr), input,
                               [&](const ostrel::Path &path, int number)
                               { visit(number, machine.FileAt(path.Text())); });
}

} // namespace

check::BadFrames FindBadFiles(const Machine &machine, const LookRequest &request)
{
    check::BadFrames bad;
    VisitFiles(machine, request,
               [&](int number, const Machine::File &file)
               {
                   if (!file.isBad && file.version > 0)
                       return;
                   // Each rendering gives another file, but for what is bad whoever renders it.
                   check::Digest digest;
                   digest.Add(std::uint64_t(file.isAlwaysBad ? 0 : file.version));
                   bad[digest.Text()].insert(number);
               });
    return bad;
}

SimulatedLooker::SimulatedLooker(Machine &machine, Agenda &agenda, Chance &chance,
                                 std::function<bool()> isStopped)
    : m_machine(machine), m_agenda(agenda), m_chance(chance), m_isStopped(std::move(isStopped)),
      m_isThere(std::make_shared<bool>(true))
{
}

SimulatedLooker::~SimulatedLooker()
{
    *m_isThere = false;
}

void SimulatedLooker::Start(int look, const LookRequest &request, master::LookListener &listener)
{
    m_agenda.After(m_chance.Span(5, k_longest_ms),
                   [this, look, request, &listener, isThere = m_isThere]
                   {
                       if (!*isThere || m_isStopped())
                           return;
                       listener.OnLooked(look, m_ended.erase(look) > 0
                                                   ? LookAnswer{.trouble = "ended", .print = {}}
                                                   : AnswerTo(request));
                   });
}

LookAnswer SimulatedLooker::AnswerTo(const LookRequest &request)
{
    LookAnswer answer;
    if (m_machine.IsBlind())
    {
        answer.trouble = "the share is away";
        return answer;
    }
    check::Digest print;
    std::size_t count = 0;
    VisitFiles(m_machine, request,
               [&](int, const Machine::File &file)
               {
                   print.Add(std::uint64_t(file.version));
                   ++count;
               });
    answer.print = print.Text();
    if (request.depth == LookRequest::Depth::Prints ||
        (!request.print.empty() && request.print != answer.print))
        return answer;
    answer.isJudged = true;
    answer.bad = FindBadFiles(m_machine, request);
    answer.counts = "ok " + std::to_string(count - check::AllOf(answer.bad).size());
    return answer;
}

void SimulatedLooker::End(int look)
{
    m_ended.insert(look);
}

std::chrono::seconds SimulatedLooker::LimitOf(const LookRequest & /*request*/) const
{
    return k_look_limit;
}

} // namespace simulation
