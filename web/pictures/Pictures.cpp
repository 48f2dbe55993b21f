#include "web/pictures/Pictures.h"

#include <algorithm>
#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <utility>

#include "web/pictures/Decoded.h"
#include "web/pictures/FileIdentity.h"

namespace web
{

using decode::DecodeRequest;

namespace
{

// Looks that are not answered, before no further one is begun.
constexpr std::size_t k_most_hanging = 128;
// Another where the same wish makes another picture.
constexpr std::string_view k_version = "2";

Made Failed(const String &reason)
{
    Made made;
    made.reason = reason;
    return made;
}

std::string TagOf(const std::string &subject, const std::string &identity)
{
    const boost::uuids::name_generator_sha1 name(boost::uuids::ns::oid());
    return boost::uuids::to_string(
        name(std::string(k_version) + subject + std::string(1, '\0') + identity));
}

std::string KeyOf(const std::string &subject, const std::string &identity)
{
    return std::string(k_version) + '\n' + subject + '\n' + identity;
}

// Of all files that the request needs.
FileIdentity IdentityOfAll(const DecodeRequest &request)
{
    FileIdentity identity = IdentityOf(request.path);
    if (!identity.trouble.empty() || !request.picture || request.picture->minus.IsEmpty())
        return identity;
    const FileIdentity other = IdentityOf(request.picture->minus);
    if (!other.trouble.empty())
        return {{}, "the other frame: " + other.trouble};
    return {identity.text + ' ' + other.text, {}};
}

Made Late(const std::string &folder, std::chrono::steady_clock::duration since)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(since).count();
    Made late = Failed(folder + " has not answered for " + std::to_string(seconds) +
                       " s: the disk or the network hangs");
    late.isLate = true;
    return late;
}

} // namespace

Pictures::Pictures(boost::asio::io_context &loop, const PictureSettings &settings)
    : m_settings(settings), m_recent(settings.mostMemoryBytes),
      m_files(std::make_shared<PictureFiles>(settings.folder, settings.mostDiskBytes)),
      m_decoders(loop, settings.decoders), m_self(std::make_shared<Pictures *>(this)),
      m_disk(loop, settings.disk)
{
}

Pictures::~Pictures()
{
    m_self.reset();
}

void Pictures::Get(const DecodeRequest &request, Told told, Clock::time_point notBefore)
{
    const std::optional<std::string> subject = decode::PackRequest(request);
    if (!subject)
        return told(Failed("no file has such a name"));
    const RecentPictures::Entry *recent = m_recent.Find(*subject);
    if (recent && recent->looked >= notBefore && Clock::now() - recent->looked < m_settings.look)
        return told(Made(recent->what)); // A copy: who is told may ask for more.

    if (const auto found = m_makings.find(*subject); found != m_makings.end())
        return found->second->waiting.push_back({std::move(told), notBefore});
    if (m_makings.size() >= m_settings.mostAtOnce)
    {
        Made busy;
        busy.isBusy = true;
        return told(busy);
    }
    const auto making = std::make_shared<Making>(request);
    making->subject = *subject;
    making->waiting.push_back({std::move(told), notBefore});
    m_makings.emplace(*subject, making);
    Look(making);
}

void Pictures::Look(const MakingPointer &making)
{
    const std::string name = making->request.path.Parent().Text();
    Folder &folder = m_folders[name];
    if (folder.isLate)
        return Tell(making, Late(name, Clock::now() - folder.at));
    if (folder.looks >= std::max(1u, m_settings.disk.atOnce / 2))
        return folder.waiting.push_back(making);
    StartLook(making);
}

void Pictures::StartLook(const MakingPointer &making)
{
    const std::string folder = making->request.path.Parent().Text();
    ++m_folders[folder].looks;
    if (m_disk.Waiting() >= k_most_hanging)
    {
        EndLook(folder);
        Made none = Failed("too many looks at files are not answered");
        none.isLate = true;
        return Tell(making, none);
    }
    const RecentPictures::Entry *recent = m_recent.Find(making->subject);
    m_disk.Do<Looked>(
        [files = m_files, request = making->request, subject = making->subject,
         known = recent ? recent->identity : std::string()](ostrel::DiskThreads::Course &)
        {
            Looked looked;
            const FileIdentity identity = IdentityOfAll(request);
            looked.identity = identity.text;
            looked.trouble = identity.trouble;
            if (request.picture && !identity.text.empty() && identity.text != known)
                looked.bytes = files->Find(KeyOf(subject, identity.text));
            return looked;
        },
        [this, making, folder](Looked looked)
        {
            EndLook(folder);
            OnLooked(making, std::move(looked));
        },
        [this, making, folder](const String &trouble)
        {
            EndLook(folder);
            OnLooked(making, {{}, trouble, {}});
        },
        [this, making, folder](std::chrono::seconds since) { OnLate(folder, making, since); });
}

void Pictures::OnLate(const std::string &folder, const MakingPointer &making,
                      std::chrono::seconds since)
{
    Folder &late = m_folders[folder];
    late.isLate = true;
    late.at = Clock::now() - since;
    auto waiting = std::exchange(late.waiting, {});
    waiting.push_back(making);
    for (const MakingPointer &each : waiting)
        if (IsUnderWay(each))
            Tell(each, Late(folder, since));
}

// The folder has answered.
void Pictures::EndLook(const std::string &folder)
{
    const auto found = m_folders.find(folder);
    Folder &answered = found->second;
    --answered.looks;
    answered.isLate = false;
    if (answered.waiting.empty())
    {
        if (answered.looks == 0)
            m_folders.erase(found);
        return;
    }
    const MakingPointer next = answered.waiting.front();
    answered.waiting.pop_front();
    StartLook(next);
}

bool Pictures::IsUnderWay(const MakingPointer &making) const
{
    const auto found = m_makings.find(making->subject);
    return found != m_makings.end() && found->second == making;
}

void Pictures::OnLooked(const MakingPointer &making, Looked looked)
{
    if (!IsUnderWay(making))
        return; // It was too late.
    if (!looked.trouble.empty())
        return Finish(making, Failed(looked.trouble), true);
    making->identity = looked.identity;
    const auto now = Clock::now();
    RecentPictures::Entry *recent = m_recent.Find(making->subject);
    if (recent && recent->identity == looked.identity &&
        !(recent->isPassing && now - recent->made >= m_settings.pause))
    {
        recent->looked = making->begun;
        return Tell(making, Made(recent->what));
    }
    if (!looked.bytes)
        return Make(making);
    Made made;
    made.bytes = std::make_shared<const std::string>(std::move(*looked.bytes));
    Finish(making, std::move(made), false);
}

void Pictures::Make(const MakingPointer &making)
{
    const bool isAsked =
        m_decoders.Ask(making->request,
                       [self = std::weak_ptr(m_self), making](Decoders::Answer answer)
                       {
                           if (const auto alive = self.lock())
                               (*alive)->OnMade(making, std::move(answer));
                       });
    if (isAsked)
        return;
    Made busy;
    busy.isBusy = true;
    Tell(making, busy);
}

void Pictures::OnMade(const MakingPointer &making, Decoders::Answer answer)
{
    Made made;
    if (answer.isOurFault)
    {
        made = Failed(answer.trouble);
        made.isOurFault = true;
        return Tell(making, made); // The next who asks tries again.
    }
    if (!making->request.picture)
    {
        made.bytes = std::make_shared<const std::string>(DecodedJson(answer.report));
        return Finish(making, std::move(made), !answer.report.trouble.empty());
    }
    if (!answer.picture.trouble.empty())
        return Finish(making, Failed(answer.picture.trouble), true);
    if (!answer.picture.reason.empty())
        return Finish(making, Failed(answer.picture.reason), false);
    made.bytes = std::make_shared<const std::string>(std::move(answer.picture.jpeg));
    Keep(making, made.bytes);
    Finish(making, std::move(made), false);
}

// A file that was written while it was read is told apart by its date: the picture is of neither.
void Pictures::Keep(const MakingPointer &making, const std::shared_ptr<const std::string> &bytes)
{
    if (m_disk.Waiting() >= k_most_hanging)
        return;
    m_disk.Do<bool>(
        [files = m_files, request = making->request, subject = making->subject,
         identity = making->identity, bytes](ostrel::DiskThreads::Course &)
        {
            if (IdentityOfAll(request).text == identity)
                files->Keep(KeyOf(subject, identity), *bytes);
            return true;
        },
        [](bool) {}, [](const String &) {}, [](std::chrono::seconds) {});
}

void Pictures::Finish(const MakingPointer &making, Made made, bool isPassing)
{
    made.tag = TagOf(making->subject, making->identity);
    const auto now = Clock::now();
    if (!making->identity.empty()) // Of a file that is not there nothing is remembered.
        m_recent.Put({making->subject, making->identity, making->begun, now, isPassing, made});
    Tell(making, made);
}

void Pictures::Tell(const MakingPointer &making, const Made &made)
{
    m_makings.erase(making->subject);
    for (const Waiting &each : std::exchange(making->waiting, {}))
        if (each.notBefore <= making->begun)
            each.told(made);
        else
            Get(making->request, each.told, each.notBefore); // Who came when it was another.
}

} // namespace web
