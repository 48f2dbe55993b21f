#include "master/jobs/Packets.h"

#include <algorithm>
#include <ostream>

#include <gtest/gtest.h>

#include "tests/master/TestJobs.h"

using master::CutPackets;
using master::Packet;
using master::TasksOf;
using ostrel::String;

namespace master
{

void PrintTo(const Packet &packet, std::ostream *stream)
{
    *stream << packet.firstFrame << "-" << packet.lastFrame;
}

} // namespace master

TEST(Packets, AreCutFromTheRange)
{
    const struct
    {
        const char *range;
        const char *packetSize;
        std::vector<Packet> packets;
    } cases[] = {
        {"1-3", "1", {{1, 1}, {2, 2}, {3, 3}}},
        {"1-10", "4", {{1, 4}, {5, 8}, {9, 10}}},
        {"1-4", "4", {{1, 4}}},
        {"1-4", "2147483647", {{1, 4}}},
        {"1,3,5", "5", {{1, 5}}},
        {"1,3,6", "5", {{1, 3}, {6, 6}}},
        {"10,1-2", "2", {{1, 2}, {10, 10}}},
        {"-3-1", "2", {{-3, -2}, {-1, 0}, {1, 1}}},
        {"-2147483648,2147483647", "2147483647", {{INT_MIN, INT_MIN}, {INT_MAX, INT_MAX}}},
        {"1-9x4", "8", {{1, 5}, {9, 9}}},
    };

    const TestJobTypes types;
    for (const auto &[range, packetSize, packets] : cases)
    {
        String reason;
        const auto job = MakeTestJob({{"Range", range}, {"PacketSize", packetSize}});
        EXPECT_EQ(CutPackets(*job, &reason), packets) << range << " by " << packetSize;
    }
}

TEST(Packets, HaveTheirNumbersByTheOrderInWhichTheyAreBegun)
{
    const struct
    {
        const char *range;
        const char *packetSize;
        const char *order;
        std::vector<int> firstFrames;
    } cases[] = {
        {"1-5", "1", "", {1, 2, 3, 4, 5}},
        {"1-5", "1", "given", {1, 2, 3, 4, 5}},
        {"1-5", "1", "middle", {3, 4, 2, 5, 1}},
        {"1-4", "1", "middle", {2, 3, 1, 4}},
        {"7", "1", "middle", {7}},
        {"7-8", "1", "middle", {7, 8}},
        {"1-20", "4", "middle", {9, 13, 5, 17, 1}},
        {"-2,5,9", "1", "middle", {5, 9, -2}},
        {"1-10", "1", "ends:3", {1, 10, 4, 7, 2, 3, 5, 6, 8, 9}},
        {"1-7", "1", "ends:3", {1, 7, 4, 2, 3, 5, 6}},
        {"1-4", "1", "ends:2", {1, 4, 3, 2}},
        {"1-4", "1", "ends:100", {1, 4, 2, 3}},
        {"1-12", "1", "ends", {1, 12, 11, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
        {"7", "1", "ends:3", {7}},
        {"7-8", "1", "ends:3", {7, 8}},
        {"1-20", "4", "ends:2", {1, 17, 9, 5, 13}},
    };

    const TestJobTypes types;
    for (const auto &[range, packetSize, order, firstFrames] : cases)
    {
        String reason;
        const auto packets = CutPackets(
            *MakeTestJob({{"Range", range}, {"PacketSize", packetSize}, {"FrameOrder", order}}),
            &reason);
        std::vector<int> frames;
        for (const Packet &packet : packets)
            frames.push_back(packet.firstFrame);
        EXPECT_EQ(frames, firstFrames) << range << " " << order;
        EXPECT_EQ(master::FirstOf(packets).firstFrame, std::ranges::min(frames)) << range;
    }
}

TEST(Packets, OfEachOrderAreTheSame)
{
    const TestJobTypes types;
    String reason;
    for (const char *order : {"middle", "ends:2", "ends:7", "ends:1000000"})
        for (const char *range : {"1-2", "1-13", "1-14", "1-100"})
        {
            auto packets =
                CutPackets(*MakeTestJob({{"Range", range}, {"FrameOrder", order}}), &reason);
            std::ranges::sort(packets, {}, &Packet::firstFrame);
            EXPECT_EQ(packets, CutPackets(*MakeTestJob({{"Range", range}}), &reason))
                << range << " " << order;
        }
}

TEST(Packets, OfAJobWithoutFramesAreNoneWithTheReason)
{
    const TestJobTypes types;
    for (const char *range : {"", "1-5y1"})
    {
        String reason;
        EXPECT_TRUE(CutPackets(*MakeTestJob({{"Range", range}}), &reason).empty()) << range;
        EXPECT_EQ(reason, "the range names no frame") << range;
    }
}

TEST(Packets, OfATypeWithoutFramesAreOne)
{
    const TestJobTypes types;
    String reason;
    EXPECT_EQ(CutPackets(*MakeTestJob({}, k_OnceType), &reason).size(), 1u);
}

TEST(Packets, OfTenMillionFramesAreCut)
{
    const TestJobTypes types;
    String reason;
    const auto packets = CutPackets(*MakeTestJob({{"Range", "1-10000000"}}), &reason);
    ASSERT_EQ(packets.size(), 10'000'000u);
    EXPECT_EQ(packets.back(), (Packet{10'000'000, 10'000'000}));
}

TEST(Packets, AreFoundByTheFramesThatTheyRender)
{
    const std::vector<Packet> packets = {{11, 15}, {1, 5}, {20, 20}};
    const std::pair<corvan::SequenceDistributor::Items, std::set<unsigned>> cases[] = {
        {{}, {}},
        {{1}, {1}},
        {{5}, {1}},
        {{6, 10, 16, 19, 21}, {}},
        {{3, 13}, {0, 1}},
        {{20}, {2}},
        {{4, 5, 11, 20}, {0, 1, 2}},
    };
    for (const auto &[frames, tasks] : cases)
        EXPECT_EQ(TasksOf(packets, frames), tasks);
}
