#pragma once

#include <boost/asio/io_context.hpp>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "decode/DecodeRequest.h"
#include "ostrel/DiskThreads.h"
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
    /// How long a disk is waited for: `atOnce` looks at a time, half of them in one folder.
    ostrel::DiskThreadLimits disk{8};
};

/// Small pictures of image files, and what reading them whole has shown: made by children, once for
/// all who ask for the same at a time, and kept by the path, size and date of the file.
///
/// Loop thread. What waits for a disk does so on threads of its own; a folder that does not answer
/// costs its own pictures, and nobody looks into it again until it has. A file that has no picture
/// has a reason, which is kept as well: asking again costs nothing until the file changes.
class Pictures
{
public:
    using Told = std::function<void(const Made &)>;
    using Clock = RecentPictures::Clock;

    /// `loop` outlives this.
    Pictures(boost::asio::io_context &loop, const PictureSettings &settings);
    /// Kills the children, and waits a second for what a disk is asked. Nobody is told anything
    /// more.
    ~Pictures();

    /// Tells, once, on the loop's thread, perhaps from within, what has come of it: a JPEG, or
    /// where no picture is asked for the JSON of `DecodedJson`. A file that is not there has that
    /// as its reason. What was known of the file before `notBefore` is not taken for what it is.
    void Get(const decode::DecodeRequest &request, Told told, Clock::time_point notBefore = {});

    /// Children that live.
    std::size_t Processes() const
    {
        return m_decoders.Processes();
    }

private:
    // Who waits for a request, and from when on what is known of the file is good enough.
    struct Waiting
    {
        Told told;
        Clock::time_point notBefore;
    };

    // A request that is under way, and all who wait for it.
    struct Making
    {
        explicit Making(decode::DecodeRequest what) : request(std::move(what)) {}

        const decode::DecodeRequest request;
        std::string subject;
        std::string identity;
        Clock::time_point begun = Clock::now();
        std::vector<Waiting> waiting;
    };
    using MakingPointer = std::shared_ptr<Making>; // With what waits for disk and decoder.

    // Where files are looked at.
    struct Folder
    {
        unsigned looks = 0;   // That are not answered yet.
        bool isLate = false;  // The last thing heard of it is that it does not answer,
        Clock::time_point at; // since then.
        std::deque<MakingPointer> waiting;
    };

    // What the disk has told of a request.
    struct Looked
    {
        std::string identity;
        String trouble;
        std::optional<std::string> bytes;
    };

    void Look(const MakingPointer &making);
    void StartLook(const MakingPointer &making);
    void OnLate(const std::string &folder, const MakingPointer &making, std::chrono::seconds since);
    void EndLook(const std::string &folder);
    void OnLooked(const MakingPointer &making, Looked looked);
    void Make(const MakingPointer &making);
    void OnMade(const MakingPointer &making, Decoders::Answer answer);
    void Keep(const MakingPointer &making, const std::shared_ptr<const std::string> &bytes);
    void Finish(const MakingPointer &making, Made made, bool isPassing);
    void Tell(const MakingPointer &making, const Made &made);
    bool IsUnderWay(const MakingPointer &making) const;

    const PictureSettings m_settings;
    RecentPictures m_recent;
    std::unordered_map<std::string, MakingPointer> m_makings; // By their subjects.
    std::unordered_map<std::string, Folder> m_folders;        // That are looked into.
    std::shared_ptr<PictureFiles> m_files;                    // With the threads that ask the disk.
    Decoders m_decoders;
    std::shared_ptr<Pictures *>
        m_self; // What comes back from a decoder looks whether this is there.
    ostrel::DiskThreads m_disk;
};

} // namespace web
