#include "master/door/SocketFile.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <optional>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/support/EnvironmentGuard.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"

using boost::asio::local::stream_protocol;
using master::SocketFile;
using ostrel::Path;

namespace
{

mode_t ModeOf(const Path &file)
{
    struct stat found
    {
    };
    return ::lstat(file.Text().c_str(), &found) == 0 ? found.st_mode & 07777 : 0;
}

// Somebody who listens at a socket file, and leaves the file behind.
class Listening
{
public:
    explicit Listening(const Path &file)
        : m_acceptor(m_loop, stream_protocol::endpoint(file.Text().c_str()))
    {
    }

private:
    boost::asio::io_context m_loop;
    stream_protocol::acceptor m_acceptor;
};

} // namespace

TEST(SocketFile, IsClaimedByOneAndRemovedAtTheEnd)
{
    const TempFolder folder;
    const Path file = folder / "run/m.sock";
    {
        const SocketFile claimed(file);
        EXPECT_EQ(Thrown([&] { SocketFile other(file); }),
                  "another Master uses address " + file.Text());
        const Listening listener(file);
        claimed.OpenTo(SocketFile::Others::Everybody);
        EXPECT_EQ(ModeOf(file), 0666u);
        claimed.OpenTo(SocketFile::Others::Nobody);
        EXPECT_EQ(ModeOf(file), 0600u);
        EXPECT_EQ(ModeOf(folder / "run"), 0700u);
    }
    EXPECT_EQ(ModeOf(file), 0u);
}

TEST(SocketFile, IsNotPutWhereClientsLookByThemselvesAndOthersMayEnter)
{
    const TempFolder folder;
    const Path open = folder.MakeFolder("open");
    ASSERT_EQ(::chmod(open.Text().c_str(), 0755), 0);
    const SocketFile chosen(open / "m.sock");

    const EnvironmentGuard runtime("XDG_RUNTIME_DIR", open.Text().c_str());
    EXPECT_EQ(Thrown([&] { SocketFile claimed(open / "corvan-master.sock"); }),
              "cannot use folder " + open.Text() + ": other users may enter it");
    ASSERT_EQ(::chmod(open.Text().c_str(), 0700), 0);
    const SocketFile claimed(open / "corvan-master.sock");
}

TEST(SocketFile, TakesOverOneThatWasLeftBehind)
{
    const TempFolder folder;
    {
        const Listening gone(folder / "m.sock");
    }
    EXPECT_NE(ModeOf(folder / "m.sock"), 0u);
    const SocketFile claimed(folder / "m.sock");
    EXPECT_EQ(ModeOf(folder / "m.sock"), 0u);
}

TEST(SocketFile, LeavesAloneWhatIsNotItsOwn)
{
    const TempFolder folder;
    const Path live = folder / "live.sock";
    const Listening listener(live);
    EXPECT_EQ(Thrown([&] { SocketFile other(live); }),
              "cannot listen at " + live.Text() + ": somebody does already");
    EXPECT_NE(ModeOf(live), 0u);

    const Path text = folder.MakeFile("text.sock", "words");
    EXPECT_EQ(Thrown([&] { SocketFile other(text); }),
              "cannot listen at " + text.Text() + ": another file is there");
    EXPECT_EQ(ContentOf(text), "words");
}
