#include <google/protobuf/text_format.h>
#include <optional>

#include <gtest/gtest.h>

#include "corvan/Limits.h"
#include "corvan/MessageFactory.h"
#include "corvan/SequenceDistributor.h"
#include "corvan/messages.pb.h"
#include "ostrel/File.h"
#include "tests/corvan/SampleType.h"

using namespace corvan;

namespace
{

/// From one title of the page to the next; nothing where there is no such title.
std::optional<std::string> EntryOf(const std::string &page, const std::string &title)
{
    const std::size_t begin = page.find("\n### " + title + "\n");
    if (begin == std::string::npos)
        return std::nullopt;
    return page.substr(begin, page.find("\n##", begin + 1) - begin);
}

std::string ExampleOf(const std::string &entry)
{
    const std::string fence = "```textproto\n";
    const std::size_t begin = entry.find(fence);
    if (begin == std::string::npos)
        return {};
    return entry.substr(begin + fence.size(), entry.find("```", begin + 3) - begin - fence.size());
}

/// 10000 as "10,000".
std::string Grouped(std::size_t number)
{
    std::string text = std::to_string(number);
    for (int at = int(text.size()) - 3; at > 0; at -= 3)
        text.insert(std::size_t(at), ",");
    return text;
}

} // namespace

TEST(MessagesDoc, TellsTheLimitsThatTheLibraryHolds)
{
    static_assert(k_MaxMessageBytes == 16u << 20 && k_MaxJobBytes == 8u << 20 &&
                  k_MaxValueBytes == 4u << 20 && k_MaxFormatBytes == 64u << 10);
    const struct
    {
        const char *what;
        std::string limit;
    } rows[] = {
        {"an envelope", "16 MiB"},
        {"all parameters of a job, names and values",
         Grouped(k_MaxParameters) + ", together 8 MiB"},
        {"one value", "4 MiB, UTF-8, no NUL"},
        {"\"ImageFormat\"", "64 KiB"},
        {"a name", "1 to " + Grouped(k_MaxNameBytes) + " bytes, UTF-8, no control characters"},
        {"identifiers in one request",
         "1 to " + Grouped(k_MaxJobIds) + "; one that is there again counts once"},
        {"tasks in one list", Grouped(k_MaxTasks)},
        {"messages that come as one", Grouped(k_MaxGathered)},
        {"frames that one range names", Grouped(SequenceDistributor::k_MaxFrames)},
    };
    const std::string page = ostrel::File::ReadWhole(ORDWICK_SOURCE "/docs/messages.md");
    for (const auto &[what, limit] : rows)
        EXPECT_NE(page.find(std::string("\n| ") + what + " | " + limit + " |\n"), std::string::npos)
            << what << ": " << limit;
}

TEST(MessagesDoc, ShowsEveryMessageWithAnExampleThatTheLibraryTakes)
{
    const SampleTypeInFactory type;
    const std::string page = ostrel::File::ReadWhole(ORDWICK_SOURCE "/docs/messages.md");
    const auto &fields = *wire::Envelope::descriptor()->FindOneofByName("body");
    EXPECT_GE(fields.field_count(), 14);
    for (int i = 0; i < fields.field_count(); ++i)
    {
        const std::string title = fields.field(i)->message_type()->name();
        const auto entry = EntryOf(page, title);
        ASSERT_TRUE(entry) << title;

        wire::Envelope example;
        ASSERT_TRUE(google::protobuf::TextFormat::ParseFromString(ExampleOf(*entry), &example))
            << title;
        EXPECT_EQ(int(example.body_case()), fields.field(i)->number()) << title;
        String reason;
        const bool isGreeting = example.has_hello() || example.has_welcome();
        EXPECT_TRUE(isGreeting || MessageFactory::FromEnvelope(example, &reason))
            << title << ": " << reason;
    }
}
