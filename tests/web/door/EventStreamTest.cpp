#include <sys/socket.h>

#include <gtest/gtest.h>

#include "tests/web/door/RunningDoor.h"

namespace
{

std::unique_ptr<BareHttp> Follow(const RunningDoor &door)
{
    auto client = std::make_unique<BareHttp>(door.Port());
    client->Send(door.Get("/api/events", RunningDoor::Bearer()));
    EXPECT_EQ(client->Receive().status, 200);
    EXPECT_EQ(client->ReceiveUntil("\n\n"), "event: master\ndata: {}\n\n");
    return client;
}

TEST(DoorEvents, ReachEachPageInOrder)
{
    RunningDoor door;
    const auto one = Follow(door);
    const auto other = Follow(door);
    for (int i = 0; i < 100; ++i)
        door.Tell("job", std::to_string(i));
    for (const auto &client : {one.get(), other.get()})
        for (int i = 0; i < 100; ++i)
            EXPECT_EQ(client->ReceiveUntil("\n\n"),
                      "event: job\ndata: " + std::to_string(i) + "\n\n");
    while (!door.On(
        [&]
        {
            return std::all_of(door.streams.begin(), door.streams.end(),
                               [](const auto &stream) { return stream->IsDrained(); });
        }))
        std::this_thread::yield();
}

TEST(DoorEvents, AreOneWordForWhoDoesNotReadThem)
{
    web::ServerSettings settings = RunningDoor::PersonalSettings();
    settings.limits.streamBytes = 1'000'000;
    RunningDoor door(settings);
    const auto slow = Follow(door);
    const auto quick = Follow(door);
    const std::string large = "\"" + std::string(200'000, 'x') + "\"";
    int told = 0;
    // The system takes some megabytes before it has the server wait.
    for (; told < 200; ++told)
    {
        door.Tell("job", large);
        quick->ReceiveUntil("\n\n");
    }
    EXPECT_FALSE(door.On([&] { return door.streams[0]->IsDrained(); }));
    door.Tell("last", "1");
    EXPECT_EQ(quick->ReceiveUntil("\n\n"), "event: last\ndata: 1\n\n");
    const std::string all = slow->ReceiveUntil("event: last\ndata: 1\n\n");
    EXPECT_NE(all.find("event: anew\ndata: {}\n\n"), std::string::npos);
    EXPECT_LT(all.size(), 190 * large.size());
    EXPECT_TRUE(all.ends_with("event: last\ndata: 1\n\n"));
}

TEST(DoorEvents, AreNotKeptForWhoTakesNothingForLong)
{
    web::ServerSettings settings = RunningDoor::PersonalSettings();
    settings.limits.takeWithin = std::chrono::milliseconds(100);
    RunningDoor door(settings);
    const auto slow = Follow(door);
    const std::string large(1'000'000, 'x');
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (door.OpenStreams() > 0 && std::chrono::steady_clock::now() < end)
        door.Tell("job", large);
    EXPECT_EQ(door.OpenStreams(), 0);
}

TEST(DoorEvents, AreACommentWhereThereAreNone)
{
    web::ServerSettings settings = RunningDoor::PersonalSettings();
    settings.limits.commentEvery = std::chrono::milliseconds(20);
    RunningDoor door(settings);
    const auto client = Follow(door);
    EXPECT_EQ(client->ReceiveUntil(":\n\n:\n\n:\n\n"), ":\n\n:\n\n:\n\n");
    door.Tell("job", "1");
    EXPECT_TRUE(client->ReceiveUntil("event: job\ndata: 1\n\n").ends_with("data: 1\n\n"));
}

TEST(DoorEvents, EndWhereThePageGoes)
{
    RunningDoor door;
    auto gone = Follow(door);
    const auto stays = Follow(door);
    EXPECT_EQ(door.OpenStreams(), 2);
    gone.reset();
    while (door.OpenStreams() > 1)
        std::this_thread::yield();
    // Who still holds it may tell it something.
    door.Tell("job", "1");
    EXPECT_EQ(stays->ReceiveUntil("\n\n"), "event: job\ndata: 1\n\n");
    EXPECT_TRUE(door.On([&] { return door.streams[0]->IsDrained(); }));
    std::promise<void> told;
    door.On([&] { door.streams[0]->OnClosed([&] { told.set_value(); }); });
    told.get_future().get();
}

TEST(DoorEvents, EndWhereTheirOwnerSaysSo)
{
    RunningDoor door;
    const auto client = Follow(door);
    door.On([&] { door.streams[0]->Close(); });
    EXPECT_TRUE(client->IsClosed(std::chrono::seconds(20)));
    while (door.OpenStreams() > 0)
        std::this_thread::yield();
}

TEST(DoorEvents, EndWhereThePageSaysAWord)
{
    RunningDoor door;
    const auto client = Follow(door);
    client->Send(door.Get("/api/things/a", RunningDoor::Bearer()));
    EXPECT_TRUE(client->IsClosed(std::chrono::seconds(20)));
    EXPECT_EQ(door.Reached(), 1);
}

// As many as fit into its bound, and not one of them in place of the answer's head.
TEST(DoorEvents, MayBeManyBeforeTheStreamBegins)
{
    web::ServerSettings settings = RunningDoor::PersonalSettings();
    settings.limits.streamEvents = 3;
    RunningDoor door(settings,
                     [](web::Routes &routes)
                     {
                         routes.AddStream("/api/many",
                                          [](const auto &, const auto &stream)
                                          {
                                              for (int i = 0; i < 5; ++i)
                                                  stream->Send(std::make_shared<const std::string>(
                                                      "data: " + std::to_string(i) + "\n\n"));
                                          });
                     });
    BareHttp client(door.Port());
    client.Send(door.Get("/api/many", RunningDoor::Bearer()));
    EXPECT_EQ(client.Receive().Field("Content-Type"), "text/event-stream");
    EXPECT_EQ(client.ReceiveUntil("data: 4\n\n"), "event: anew\ndata: {}\n\ndata: 4\n\n");
}

} // namespace
