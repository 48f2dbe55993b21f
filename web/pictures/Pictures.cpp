#include "web/pictures/Pictures.h"

#include <boost/asio/post.hpp>
#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <utility>

#include "decode/DecoderEnd.h"
#include "ostrel/Attempt.h"
#include "web/pictures/Decoded.h"
#include "web/pictures/FileIdentity.h"

namespace web
{

using decode::DecodeRequest;

namespace
{

// Looks at files at a time: they wait for disks, and not for processors.
constexpr std::size_t k_disk_threads = 4;
// Another where the same wish makes another picture.
constexpr std::string_view k_version = "1";

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

} // namespace

Pictures::Pictures(boost::asio::io_context &loop, const PictureSettings &settings)
    : m_loop(loop), m_settings(settings), m_recent(settings.mostMemoryBytes),
      m_files(std::make_shared<PictureFiles>(settings.folder, settings.mostDiskBytes)),
      m_decoders(loop, settings.decoders), m_self(std::make_shared<Pictures *>(this)),
      m_disk(k_disk_threads)
{
}

Pictures::~Pictures()
{
    m_self.reset();
    m_disk.stop();
    m_disk.join();
}

void Pictures::Get(const DecodeRequest &request, Told told)
{
    const std::optional<std::string> subject = decode::PackRequest(request);
    if (!subject)
        return told(Failed("no file has such a name"));
    const RecentPictures::Entry *recent = m_recent.Find(*subject);
    if (recent && RecentPictures::Clock::now() - recent->looked < m_settings.look)
        return told(Made(recent->what)); // A copy: who is told may ask for more.

    if (const auto found = m_makings.find(*subject); found != m_makings.end())
        return found->second->waiting.push_back(std::move(told));
    if (m_makings.size() >= m_settings.mostAtOnce || m_looks >= m_settings.mostAtOnce)
    {
        Made busy;
        busy.isBusy = true;
        return told(busy);
    }
    const auto making = std::make_shared<Making>(m_loop, request);
    making->subject = *subject;
    making->waiting.push_back(std::move(told));
    m_makings.emplace(*subject, making);
    Look(making);
}

void Pictures::Look(const MakingPointer &making)
{
    making->late.expires_after(m_settings.decoders.time);
    making->late.async_wait(
        [self = std::weak_ptr(m_self), making](const boost::system::error_code &error)
        {
            const auto alive = self.lock();
            if (alive && !error && (*alive)->IsUnderWay(making) && making->identity.empty())
                (*alive)->Finish(
                    making,
                    Failed("the disk " + decode::LateText((*alive)->m_settings.decoders.time)),
                    true);
        });
    ++m_looks;
    const RecentPictures::Entry *recent = m_recent.Find(making->subject);
    boost::asio::post(
        m_disk,
        [&loop = m_loop, self = std::weak_ptr(m_self), files = m_files, making,
         request = making->request, known = recent ? recent->identity : std::string()]
        {
            Looked looked;
            const auto wrong = ostrel::Attempt(
                [&]
                {
                    const FileIdentity identity = IdentityOfAll(request);
                    looked.identity = identity.text;
                    looked.trouble = identity.trouble;
                    if (request.picture && !identity.text.empty() && identity.text != known)
                        looked.bytes = files->Find(KeyOf(making->subject, identity.text));
                });
            if (wrong)
                looked.trouble = *wrong;
            boost::asio::post(loop,
                              [self, making, looked = std::move(looked)]() mutable
                              {
                                  if (const auto alive = self.lock())
                                      (*alive)->OnLooked(making, std::move(looked));
                              });
        });
}

bool Pictures::IsUnderWay(const MakingPointer &making) const
{
    const auto found = m_makings.find(making->subject);
    return found != m_makings.end() && found->second == making;
}

void Pictures::OnLooked(const MakingPointer &making, Looked looked)
{
    --m_looks;
    if (!IsUnderWay(making))
        return; // It was too late.
    making->late.cancel();
    if (!looked.trouble.empty())
        return Finish(making, Failed(looked.trouble), true);
    making->identity = looked.identity;
    const auto now = RecentPictures::Clock::now();
    RecentPictures::Entry *recent = m_recent.Find(making->subject);
    if (recent && recent->identity == looked.identity &&
        !(recent->isPassing && now - recent->made >= m_settings.pause))
    {
        recent->looked = now;
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
    boost::asio::post(m_disk,
                      [files = m_files, request = making->request, subject = making->subject,
                       identity = making->identity, bytes]
                      {
                          ostrel::Attempt(
                              [&]
                              {
                                  if (IdentityOfAll(request).text == identity)
                                      files->Keep(KeyOf(subject, identity), *bytes);
                              });
                      });
}

void Pictures::Finish(const MakingPointer &making, Made made, bool isPassing)
{
    made.tag = TagOf(making->subject, making->identity);
    const auto now = RecentPictures::Clock::now();
    if (!making->identity.empty()) // Of a file that is not there nothing is remembered.
        m_recent.Put({making->subject, making->identity, now, now, isPassing, made});
    Tell(making, made);
}

void Pictures::Tell(const MakingPointer &making, const Made &made)
{
    making->late.cancel();
    m_makings.erase(making->subject);
    for (const Told &told : std::exchange(making->waiting, {}))
        told(made);
}

} // namespace web
