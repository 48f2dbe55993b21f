#include "master/jobs/ProgressNews.h"

#include <gtest/gtest.h>

using master::ProgressNews;
using ostrel::UID;
using namespace std::chrono_literals;

using Jobs = std::vector<UID>;

namespace
{

const ProgressNews::Moment k_start{1h};

} // namespace

TEST(ProgressNews, OfAQuietJobIsDueAtOnce)
{
    const UID job(true);
    ProgressNews news;
    EXPECT_FALSE(news.NextDue());
    news.Note(job, k_start);
    EXPECT_EQ(news.NextDue(), k_start);
    EXPECT_EQ(news.TakeDue(k_start), Jobs{job});
    EXPECT_EQ(news.TakeDue(k_start), Jobs{});
    EXPECT_FALSE(news.NextDue());
}

TEST(ProgressNews, OfABusyJobWaitsForTheIntervalAndIsNotLost)
{
    const UID job(true);
    ProgressNews news;
    news.Note(job, k_start);
    news.TakeDue(k_start);

    for (int i = 0; i < 50; ++i)
        news.Note(job, k_start + 1ms);

    EXPECT_EQ(news.TakeDue(k_start + 99ms), Jobs{});
    EXPECT_EQ(news.NextDue(), k_start + 100ms);
    EXPECT_EQ(news.TakeDue(k_start + 100ms), Jobs{job});
    EXPECT_EQ(news.TakeDue(k_start + 300ms), Jobs{});
}

TEST(ProgressNews, OfOneJobDoesNotHoldUpAnother)
{
    const UID busy(true), quiet(true);
    ProgressNews news;
    news.Note(busy, k_start);
    news.TakeDue(k_start);
    news.Note(busy, k_start + 10ms);
    news.Note(quiet, k_start + 10ms);
    EXPECT_EQ(news.TakeDue(k_start + 10ms), Jobs{quiet});
}

TEST(ProgressNews, IsToldNoMoreThanTenTimesASecond)
{
    const UID job(true);
    ProgressNews news;
    std::size_t told = 0;
    for (auto passed = 0ms; passed < 1s; passed += 1ms)
    {
        news.Note(job, k_start + passed);
        told += news.TakeDue(k_start + passed).size();
    }
    EXPECT_EQ(told, 10u);
}
