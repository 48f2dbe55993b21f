#include "master/frames/ChildLooker.h"

#include <boost/asio/post.hpp>
#include <filesystem>
#include <utility>

#include "check/ReadAnswer.h"
#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"
#include "ostrel/File.h"
#include "ostrel/Folders.h"
#include "ostrel/Log.h"

namespace master
{

using check::LookAnswer;
using check::LookRequest;
using ostrel::_CallEntry;

namespace
{

// Looks that hang count as well.
constexpr int k_slots = 1000;
constexpr std::chrono::milliseconds k_patience{500};
constexpr unsigned k_log_mb = check::k_MostAnswerBytes >> 20;
constexpr unsigned k_nice = 10;
// A million frames take 100 MiB.
constexpr unsigned k_memory_mb = 1024;
// Two decoders of 2 GiB beside it, and what they take themselves.
constexpr unsigned k_images_memory_mb = 6144;
constexpr std::chrono::seconds k_limit = std::chrono::minutes(10);
constexpr std::chrono::seconds k_images_limit = std::chrono::hours(12);

String WhyItFailed(const RunEnd &end)
{
    if (!end.isStarted)
        return end.reason;
    const String how = end.exitCode < 0 ? String("was ended by a signal")
                                        : String("ended with " + std::to_string(end.exitCode));
    return end.reason.empty() ? "corvan-check " + how : "corvan-check: " + end.reason;
}

LookAnswer ReadPrinted(const LookRequest &request, const Path &file)
{
    LookAnswer answer;
    std::optional<LookAnswer> told;
    const auto reason =
        ostrel::Attempt([&] { told = check::ReadAnswer(request, ostrel::File::ReadWhole(file)); });
    if (told)
        return *told;
    answer.trouble = reason ? *reason : String("corvan-check gave no proper answer");
    return answer;
}

} // namespace

Path ChildLooker::Program()
{
    _CallEntry call("ChildLooker::Program", __FILE__, __LINE__);

    return ostrel::ProgramFolder().Parent() / "libexec/ordwick/corvan-check";
}

ChildLooker::ChildLooker(boost::asio::io_context &loop, Path folder,
                         std::optional<CommandUser> user, Path program)
    : m_loop(loop), m_folder(std::move(folder)), m_program(std::move(program)),
      m_isThere(std::make_shared<bool>(true)),
      m_runner(loop, k_slots, k_patience, 0, std::move(user))
{
    _CallEntry call("ChildLooker::ChildLooker", __FILE__, __LINE__);
}

void ChildLooker::Start(int look, const LookRequest &request, LookListener &listener)
{
    _CallEntry call("ChildLooker::Start", __FILE__, __LINE__);

    m_looks[look] = {PrintedBy(look), request, &listener};
    std::optional<std::vector<std::string>> arguments = ArgumentsOf(request);
    if (!arguments)
        return TellLater(look, "the range and the patterns of the job are too long to be handed "
                               "over to a program");
    std::error_code error;
    // Not before: another Master may have the folder until this one is known to be alone.
    if (!std::exchange(m_isTidy, true))
        std::filesystem::remove_all(m_folder.Text().c_str(), error);
    std::filesystem::create_directories(m_folder.Text().c_str(), error);
    String reason = error ? "cannot make folder " + m_folder.Text() + ": " + error.message() : "";
    if (error || !m_runner.Start(CommandFor(look, request, std::move(*arguments)), *this, &reason))
        TellLater(look, reason);
}

Path ChildLooker::PrintedBy(int look) const
{
    _CallEntry call("ChildLooker::PrintedBy", __FILE__, __LINE__);

    return m_folder / (std::to_string(look) + ".txt");
}

Command ChildLooker::CommandFor(int look, const LookRequest &request,
                                std::vector<std::string> arguments) const
{
    _CallEntry call("ChildLooker::CommandFor", __FILE__, __LINE__);

    Command command;
    command.run = look;
    command.arguments = std::move(arguments);
    command.arguments.insert(command.arguments.begin(), m_program.Text());
    command.folder = m_folder;
    command.log = PrintedBy(look);
    command.keepsOld = false;
    command.limits.seconds = unsigned(LimitOf(request).count());
    command.limits.memoryMb = request.ReadsImages() ? k_images_memory_mb : k_memory_mb;
    command.limits.logMb = k_log_mb;
    command.limits.nice = k_nice;
    return command;
}

void ChildLooker::End(int look)
{
    _CallEntry call("ChildLooker::End", __FILE__, __LINE__);

    m_runner.End(look);
}

std::chrono::seconds ChildLooker::LimitOf(const LookRequest &request) const
{
    _CallEntry call("ChildLooker::LimitOf", __FILE__, __LINE__);

    return request.ReadsImages() ? k_images_limit : k_limit;
}

void ChildLooker::OnStarted(int /*run*/)
{
    _CallEntry call("ChildLooker::OnStarted", __FILE__, __LINE__);
}

void ChildLooker::OnEnded(int run, const RunEnd &end)
{
    _CallEntry call("ChildLooker::OnEnded", __FILE__, __LINE__);

    const auto found = m_looks.find(run);
    if (found == m_looks.end())
        return;
    LookAnswer answer;
    if (end.IsSuccess())
        answer = ReadPrinted(found->second.request, found->second.printed);
    else
        answer.trouble = WhyItFailed(end);
    Tell(run, answer);
}

// Whoever has asked is not told from within.
void ChildLooker::TellLater(int look, const String &trouble)
{
    _CallEntry call("ChildLooker::TellLater", __FILE__, __LINE__);

    boost::asio::post(m_loop,
                      [this, look, trouble, isThere = std::weak_ptr<bool>(m_isThere)]
                      {
                          if (!isThere.expired())
                              Tell(look, {.trouble = trouble, .print = {}});
                      });
}

void ChildLooker::Tell(int look, const LookAnswer &answer)
{
    _CallEntry call("ChildLooker::Tell", __FILE__, __LINE__);

    const auto found = m_looks.extract(look);
    if (found.empty())
        return;
    ostrel::File::Delete(found.mapped().printed, false);
    found.mapped().listener->OnLooked(look, answer);
}

} // namespace master
