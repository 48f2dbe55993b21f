#include "corvan/FrameOrder.h"

#include <gtest/gtest.h>

using corvan::CheckFrameOrder;
using corvan::FrameOrder;
using corvan::ReadFrameOrder;
using OrderKind = corvan::FrameOrder::Kind;

TEST(FrameOrder, IsReadInEachForm)
{
    const struct
    {
        const char *text;
        FrameOrder order;
    } cases[] = {
        {"", {OrderKind::Given}},           {"given", {OrderKind::Given}},
        {"middle", {OrderKind::Middle}},    {"ends", {OrderKind::Ends, 10}},
        {"ends:2", {OrderKind::Ends, 2}},   {"ends:1000000", {OrderKind::Ends, 1'000'000}},
        {"ends:25", {OrderKind::Ends, 25}},
    };
    for (const auto &[text, order] : cases)
    {
        EXPECT_EQ(ReadFrameOrder(text), order) << text;
        EXPECT_EQ(CheckFrameOrder(text), "") << text;
    }
}

TEST(FrameOrder, IsRefusedWhereItIsNone)
{
    for (const char *text : {"Given", "ends:", "ends:1", "ends:0", "ends:-5", "ends:1000001",
                             "ends: 5", "ends:5x", "ends5", "middle ", "backwards", "middle:3"})
    {
        EXPECT_EQ(ReadFrameOrder(text), std::nullopt) << text;
        EXPECT_EQ(CheckFrameOrder(text),
                  "FrameOrder: \"" + ostrel::String(text) +
                      "\" is no order; there are given, middle, ends, and ends:N with an N from 2 "
                      "to 1000000");
    }
}
