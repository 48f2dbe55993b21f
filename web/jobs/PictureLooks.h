#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "ostrel/DiskThreads.h"
#include "web/jobs/FrameWatches.h"
#include "web/jobs/PictureVerdict.h"

namespace web
{

/// Holds pictures of single frames against those around them, one after the other: it reads some
/// dozen files whole, and the machine has other things to do.
///
/// Of a visitor one is wanted at a time: a later wish takes the place of one that waits. What was
/// read last is remembered, whoever asked and of whatever job, so that the next frame costs one
/// file more. Loop thread; what reads has a thread of its own, and one that the disk does not
/// answer keeps nobody else from anything.
class PictureLooks
{
public:
    struct Wish
    {
        std::string visitor; ///< Tells one from another.
        SnapshotPointer snapshot{};
        std::size_t row = 0; ///< Of a frame that is there.
    };
    struct Answer
    {
        unsigned status = 200;
        std::string json{};  ///< As `PictureVerdictJson` gives it.
        String trouble{};    ///< Why there is none, where the status is another.
        bool goesOn = false; ///< Asked again it goes on from where it was.
    };
    using Told = std::function<void(const Answer &)>;
    /// `PictureVerdictJson`, of the tests' own where they want one.
    using Judge = std::function<std::string(check::TableDecoder &, const FrameSnapshot &,
                                            std::size_t row, const std::function<void()> &getsOn)>;

    /// More visitors than that do not wait.
    static constexpr std::size_t k_MostWaiting = 2;
    /// Nor is anything looked at while so many looks are not answered by their disks.
    static constexpr std::size_t k_MostHanging = 4;
    /// Files of which it is remembered what was read: some dozen stretches of frames that are
    /// looked at in turn, 22 MiB at most.
    static constexpr std::size_t k_MostRemembered = 2000;

    /// `loop` outlives this.
    PictureLooks(boost::asio::io_context &loop, Judge judge,
                 ostrel::DiskThreadLimits limits = {.atOnce = 1 + k_MostHanging,
                                                    .waits = std::chrono::seconds(20),
                                                    .late = std::chrono::seconds(20)});

    /// Calls `told` once, now or later, on the loop: with 429 where too many wait, or the visitor
    /// asked for another frame meanwhile, and with 503 where the frames could not be looked at.
    void Ask(const Wish &wish, Told told);

private:
    struct Asked
    {
        Wish wish;
        Told told;
    };

    void Begin();
    void End(std::size_t look, const Told &told, const Answer &answer);

    const Judge m_judge;
    std::deque<Asked> m_waiting;
    std::size_t m_last = 0;    // Counts the looks.
    std::size_t m_current = 0; // The one under way that is waited for; 0 for none.
    // What was read, of all jobs; with the thread of the look that is under way.
    std::shared_ptr<check::TableDecoder> m_decoder;
    ostrel::DiskThreads m_disk;
};

} // namespace web
