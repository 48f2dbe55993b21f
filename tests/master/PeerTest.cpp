#include "master/door/Peer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ostrel/Descriptor.h"

using master::Peer;

namespace
{

TEST(Peer, IsReadFromWhatGrpcTells)
{
    const struct
    {
        const char *told;
        const char *text;
        const char *key;
    } cases[] = {
        {"ipv4:192.0.2.7:1234", "192.0.2.7", "192.0.2.7"},
        {"ipv6:%5B2001:db8:1:2:3:4:5:6%5D:1234", "2001:db8:1:2:3:4:5:6", "2001:db8:1:2::"},
        {"ipv6:[2001:db8::1]:1234", "2001:db8::1", "2001:db8::"},
        {"ipv6:%5B::ffff:192.0.2.7%5D:80", "192.0.2.7", "192.0.2.7"},
        {"ipv6:%5Bfe80::1%25eth0%5D:80", "fe80::1", "fe80::"},
        {"unix:", "unix:", "unknown"},
        {"ipv4:host:1", "ipv4:host:1", "unknown"},
        {"fd:", "fd:", "unknown"},
        {"fd:x", "fd:x", "unknown"},
        {"", "", "unknown"},
    };
    for (const auto &[told, text, key] : cases)
    {
        const Peer peer = master::PeerOfCall(told);
        EXPECT_EQ(peer.text, text) << told;
        EXPECT_EQ(peer.key, key) << told;
        EXPECT_FALSE(peer.user) << told;
        EXPECT_FALSE(peer.IsOwn()) << told;
    }
}

TEST(Peer, OfASocketFileIsTheUserThatTheSystemNames)
{
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const ostrel::Descriptor one(ends[0]), other(ends[1]);
    const Peer peer = master::PeerOfCall("fd:" + std::to_string(ends[0]));
    EXPECT_EQ(peer.user, ::geteuid());
    EXPECT_TRUE(peer.IsOwn());
    EXPECT_EQ(peer.key, "uid " + std::to_string(::geteuid()));
    EXPECT_EQ(peer.text, peer.key);
    EXPECT_EQ(master::PeerOf(-1).key, "unknown");
}

TEST(Peer, WhoHasNoNameIsANumber)
{
    EXPECT_EQ(master::UserName(uid_t(3999999999u)), "3999999999");
}

} // namespace
