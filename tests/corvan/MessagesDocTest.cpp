#include <google/protobuf/text_format.h>
#include <optional>

#include <gtest/gtest.h>

#include "corvan/MessageFactory.h"
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

} // namespace

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
