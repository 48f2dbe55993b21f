#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "decode/DecodeRequest.h"
#include "web/pictures/Decoders.h"
#include "web/pictures/PictureFiles.h"
#include "web/pictures/RecentPictures.h"

namespace web
{

struct PictureSettings
{
    DecoderSettings decoders;
    Path folder; ///< Of pictures that are kept; made where it is missing, open to this user alone.
    std::uint64_t mostDiskBytes = 512u << 20; ///< 0 for none.
    std::size_t mostMemoryBytes = 64u << 20;  ///< Of pictures that are kept in memory as well.
    std::size_t mostAtOnce = 1024;            ///< Requests, each for something else, under way.
    /// How long a file is taken for what it was when it was last looked at.
    std::chrono::milliseconds look{1000};
    /// After which a file that could not be looked at is tried again.
    std::chrono::seconds pause{30};
};

/// Small pictures of image files, and what reading them whole has shown: made by children, once for
/// all who ask for the same at a time, and kept by the path, size and date of the file.
///
/// Loop thread. What waits for a disk does so on threads of its own. A file that has no picture has
/// a reason, which is kept as well: asking again costs nothing until the file changes.
class Pictures
{
public:
    using Told = std::function<void(const Made &)>;

    /// `loop` outlives this.
    Pictures(boost::asio::io_context &loop, const PictureSettings &settings);
    /// Waits for what a disk is asked, and kills the children. Nobody is told anything more.
    ~Pictures();

    /// Tells, once, on the loop's thread, perhaps from within, what has come of it: a JPEG, or
    /// where no picture is asked for the JSON of `DecodedJson`. A file that is not there has that
    /// as its reason.
    void Get(const decode::DecodeRequest &request, Told told);

    /// Children that live.
    std::size_t Processes() const
    {
        return m_decoders.Processes();
    }

private:
    // A request that is under way, and all who wait for it.
    struct Making
    {
        Making(boost::asio::io_context &loop, decode::DecodeRequest what)
            : request(std::move(what)), late(loop)
        {
        }

        decode::DecodeRequest request;
        std::string subject;
        std::string identity;
        boost::asio::steady_timer late;
        std::vector<Told> waiting;
    };
    using MakingPointer = std::shared_ptr<Making>; // With the threads that ask the disk.

    // What the disk has told of a request.
    struct Looked
    {
        std::string identity;
        String trouble;
        std::optional<std::string> bytes;
    };

    void Look(const MakingPointer &making);
    void OnLooked(const MakingPointer &making, Looked looked);
    void Make(const MakingPointer &making);
    void OnMade(const MakingPointer &making, Decoders::Answer answer);
    void Keep(const MakingPointer &making, const std::shared_ptr<const std::string> &bytes);
    void Finish(const MakingPointer &making, Made made, bool isPassing);
    void Tell(const MakingPointer &making, const Made &made);
    bool IsUnderWay(const MakingPointer &making) const;

    boost::asio::io_context &m_loop;
    const PictureSettings m_settings;
    RecentPictures m_recent;
    std::unordered_map<std::string, MakingPointer> m_makings; // By their subjects.
    std::size_t m_looks = 0;               // That the disk has not answered, be it too late.
    std::shared_ptr<PictureFiles> m_files; // With the threads that ask the disk.
    Decoders m_decoders;
    std::shared_ptr<Pictures *>
        m_self;                      // What comes back from a thread looks whether this is there.
    boost::asio::thread_pool m_disk; // Ends before what it uses.
};

} // namespace web
