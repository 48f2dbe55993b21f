#include "web/jobs/JobBook.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "tests/web/jobs/FarmSample.h"
#include "web/jobs/JobJson.h"

using corvan::JobParameterMsg;
using ostrel::UID;
using web::FarmJob;
using web::JobBook;

namespace
{

std::size_t Listed(JobBook &book, std::size_t offset, std::size_t limit)
{
    return nlohmann::json::parse(book.ListJson(offset, limit)).at("jobs").size();
}

} // namespace

TEST(JobBook, KeepsWhatIsListedAndForgetsWhatIsNotAgain)
{
    JobBook book;
    const std::vector jobs = {FarmJob("/r", "1-5"), FarmJob("/r", "1-6")};
    book.BeginListing();
    book.TakeListed(jobs);
    EXPECT_FALSE(book.IsListed());
    book.EndListing();
    EXPECT_TRUE(book.IsListed());
    EXPECT_EQ(book.TakeChanges().changed.size(), 2u);

    book.BeginListing();
    EXPECT_EQ(book.Count(), 2u) << "what was known stays while the list is on its way";
    book.TakeListed(std::vector{jobs[1]});
    book.EndListing();
    const JobBook::Changes changes = book.TakeChanges();
    EXPECT_EQ(changes.changed, std::set<UID>()) << "it is as it was";
    EXPECT_EQ(changes.removed, std::set{jobs[0]->ID()});
    EXPECT_FALSE(book.Find(jobs[0]->ID()));
}

TEST(JobBook, MakesAnotherJobOfOneThatChanges)
{
    JobBook book;
    const auto job = FarmJob("/r", "1-5");
    book.Take(job);
    const web::JobPointer before = book.Find(job->ID());
    const std::string row = book.RowJson(job->ID());
    JobParameterMsg news;
    news.job = job->ID();
    news.name = corvan::p_Priority;
    news.value = "70";
    book.Take(news);
    EXPECT_EQ(before->ParameterText(corvan::p_Priority, false), "");
    EXPECT_EQ(book.Find(job->ID())->ParameterText(corvan::p_Priority, false), "70");
    EXPECT_NE(book.RowJson(job->ID()), row);

    news.job = UID(true);
    book.Take(news);
    EXPECT_EQ(book.Count(), 1u);
}

TEST(JobBook, ListsPartsOfIt)
{
    JobBook book;
    for (int i = 0; i < 5; ++i)
        book.Take(FarmJob("/r", "1-5"));
    const struct
    {
        std::size_t offset, limit, listed;
    } cases[] = {{0, 10, 5}, {0, 2, 2}, {4, 2, 1}, {5, 2, 0}, {100, 1, 0}};
    for (const auto &[offset, limit, listed] : cases)
        EXPECT_EQ(Listed(book, offset, limit), listed) << offset << " " << limit;
}

TEST(JobBook, TellsTextsAsTextsAndReplacesWhatIsNoUtf8)
{
    JobBook book;
    const auto job = FarmJob("/r", "1-5");
    ASSERT_TRUE(job->SetParameter(corvan::p_Name, "a\"</script>"));
    book.Take(job);
    EXPECT_EQ(nlohmann::json::parse(book.RowJson(job->ID())).at("name"), "a\"</script>");
    EXPECT_EQ(web::JsonText(ostrel::String("\xfe")), "\"\xef\xbf\xbd\"");
}
