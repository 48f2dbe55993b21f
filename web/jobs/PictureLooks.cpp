#include "web/jobs/PictureLooks.h"

#include <algorithm>
#include <utility>

#include "web/jobs/Statuses.h"

namespace web
{

PictureLooks::PictureLooks(boost::asio::io_context &loop, Judge judge,
                           ostrel::DiskThreadLimits limits)
    : m_judge(std::move(judge)), m_disk(loop, limits)
{
}

void PictureLooks::Ask(const Wish &wish, Told told)
{
    if (m_disk.Waiting() >= k_MostHanging)
        return told({k_Unavailable,
                     {},
                     "too many looks at pictures are not answered by their disks; until some are, "
                     "no picture is held against others"});
    const auto earlier = std::ranges::find(m_waiting, wish.visitor,
                                           [](const Asked &asked) { return asked.wish.visitor; });
    if (earlier != m_waiting.end())
    {
        const Told instead = std::exchange(earlier->told, std::move(told));
        earlier->wish = wish;
        return instead({k_TooMany, {}, "another frame was asked for meanwhile"});
    }
    if (m_waiting.size() >= k_MostWaiting)
        return told({k_TooMany, {}, "too many pictures are looked at: try again soon"});
    m_waiting.push_back({wish, std::move(told)});
    Begin();
}

void PictureLooks::Begin()
{
    if (m_current > 0 || m_waiting.empty())
        return;
    const auto [wish, told] = std::move(m_waiting.front());
    m_waiting.pop_front();
    if (!m_decoder)
        m_decoder = std::make_shared<check::TableDecoder>(k_MostRemembered);
    m_current = ++m_last;
    m_disk.Do<Answer>(
        [judge = m_judge, decoder = m_decoder,
         wish = wish](ostrel::DiskThreads::Course &course) -> Answer
        {
            try
            {
                return {200,
                        judge(*decoder, *wish.snapshot, wish.row, [&course] { course.Note(); })};
            }
            catch (MoreToRead *raw)
            {
                const std::unique_ptr<MoreToRead> error(raw);
                return {k_Unavailable, {}, error->Text(), true};
            }
        },
        [this, look = m_current, told = told](const Answer &answer) { End(look, told, answer); },
        [this, look = m_current, told = told](const String &trouble) {
            End(look, told, {k_Unavailable, {}, trouble});
        },
        [this, look = m_current, told = told](std::chrono::seconds since)
        {
            // Its thread may hold it for ever.
            if (look == m_current)
                m_decoder.reset();
            End(look, told,
                {k_Unavailable,
                 {},
                 "reading the frames around has not answered for " + std::to_string(since.count()) +
                     " s: the disk or the network hangs"});
        });
}

void PictureLooks::End(std::size_t look, const Told &told, const Answer &answer)
{
    // What comes of one that was told as late is not wanted.
    if (look != m_current)
        return;
    m_current = 0;
    Begin();
    told(answer);
}

} // namespace web
