#include "web/pictures/PictureRoute.h"

#include <gtest/gtest.h>

#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"
#include "tests/web/pictures/TurnLoop.h"
#include "web/door/HttpError.h"

using namespace web;

namespace
{

class PictureRouteTest : public testing::Test
{
protected:
    void Start(const Path &program)
    {
        PictureSettings settings;
        settings.decoders.program = program;
        settings.decoders.count = 1;
        settings.mostDiskBytes = 0;
        m_pictures = std::make_unique<Pictures>(m_loop, settings);
        m_handler = PictureHandler(*m_pictures,
                                   [this](const std::string &job, std::size_t format, int frame,
                                          const std::function<void(FoundFrame)> &found)
                                   {
                                       FoundFrame answer;
                                       if (job != "job" || format > 1)
                                           answer = {{}, 404, "there is no such job"};
                                       else
                                           answer.path =
                                               m_folder / (std::to_string(format) + "-" +
                                                           std::to_string(frame) + ".exr");
                                       found(answer);
                                   });
    }

    // The status and the text; for a picture what it is of.
    std::pair<unsigned, std::string> Ask(const std::string &frame,
                                         const std::map<std::string, std::string> &query,
                                         const std::string &job = "job")
    {
        const auto request = std::make_shared<Request>();
        request->places = {{"job", job}, {"frame", frame}};
        request->query = query;
        std::vector<Response> answers;
        try
        {
            m_handler(request, [&](Response response) { answers.push_back(std::move(response)); });
        }
        catch (HttpError *raw)
        {
            const std::unique_ptr<HttpError> error(raw);
            return {error->Status(), error->Text()};
        }
        EXPECT_TRUE(TurnUntil(m_loop, [&answers] { return !answers.empty(); }));
        EXPECT_EQ(answers.size(), 1u);
        m_last = answers.at(0);
        return {m_last.status, *m_last.body};
    }

    String Header(const std::string &name) const
    {
        for (const auto &[key, value] : m_last.headers)
            if (key == name)
                return value;
        return {};
    }

    TempFolder m_folder;
    boost::asio::io_context m_loop;
    std::unique_ptr<Pictures> m_pictures;
    Handler m_handler;
    Response m_last;
};

} // namespace

TEST_F(PictureRouteTest, AnswersWithAPictureAsItIsWished)
{
    Start(WILD_DECODER_PROGRAM);
    m_folder.MakeFile("0-7.exr");
    m_folder.MakeFile("1--3.exr");
    m_folder.MakeFile("1-8.exr");
    const struct
    {
        const char *frame;
        std::map<std::string, std::string> query;
        std::string made;
    } cases[] = {
        {"7", {}, "0-7.exr 256 "},
        {"7", {{"width", "64"}, {"exposure", "-1.5"}, {"channels", "luma"}}, "0-7.exr 64 "},
        {"-3", {{"format", "1"}}, "1--3.exr 256 "},
        {"-3", {{"format", "1"}, {"minus", "8"}}, "1--3.exr 256 " + (m_folder / "1-8.exr").Text()},
    };
    for (const auto &[frame, query, made] : cases)
    {
        const auto [status, text] = Ask(frame, query);
        EXPECT_EQ(status, 200u) << made << " " << text;
        EXPECT_TRUE(text.ends_with(made + "\xff\xd9")) << made << " " << text;
        EXPECT_EQ(m_last.type, "image/jpeg");
        EXPECT_EQ(Header("Cache-Control"), "private, no-cache");
        EXPECT_EQ(Header("ETag").size(), 38u);
    }
}

TEST_F(PictureRouteTest, RefusesWhatMakesNoSense)
{
    Start("/no/such/program"); // Nobody is asked.
    const struct
    {
        std::map<std::string, std::string> query;
        const char *sentence;
    } cases[] = {
        {{{"width", "15"}}, "\"width\" is a whole number from 16 to 4096"},
        {{{"width", "4097"}}, "\"width\" is a whole number from 16 to 4096"},
        {{{"width", "64px"}}, "\"width\" is a whole number from 16 to 4096"},
        {{{"width", ""}}, "\"width\" is a whole number from 16 to 4096"},
        {{{"width", "99999999999"}}, "\"width\" is a whole number from 16 to 4096"},
        {{{"exposure", "21"}}, "\"exposure\" is a number from -20 to 20"},
        {{{"exposure", "nan"}}, "\"exposure\" is a number from -20 to 20"},
        {{{"exposure", "-inf"}}, "\"exposure\" is a number from -20 to 20"},
        {{{"channels", "z"}}, "\"channels\" is one of rgb, r, g, b, a and luma"},
        {{{"format", "-1"}}, "\"format\" is a whole number from 0 to 2147483647"},
        {{{"minus", "x"}}, "\"minus\" is a whole number from -2147483648 to 2147483647"},
    };
    for (const auto &[query, sentence] : cases)
        EXPECT_EQ(Ask("7", query), std::pair(400u, std::string(sentence)));
    for (const char *frame : {"x", "7.5", "99999999999", "", "../7"})
        EXPECT_EQ(Ask(frame, {}), std::pair(404u, std::string("there is no such frame")));
}

TEST_F(PictureRouteTest, SaysWhyThereIsNoPicture)
{
    Start(WILD_DECODER_PROGRAM);
    m_folder.MakeFile("0-7.exr");
    const std::string unknown = "{\"error\":\"there is no such job\"}\n";
    EXPECT_EQ(Ask("7", {}, "other"), std::pair(404u, unknown));
    EXPECT_EQ(Ask("7", {{"format", "2"}}), std::pair(404u, unknown));
    EXPECT_EQ(Ask("8", {}),
              std::pair(422u, std::string("{\"error\":\"there is no such file\"}\n")));
    EXPECT_EQ(
        Ask("7", {{"minus", "8"}}),
        std::pair(422u, std::string("{\"error\":\"the other frame: there is no such file\"}\n")));
}

TEST_F(PictureRouteTest, AnswersOurOwnFaultAsSuch)
{
    Start("/no/such/program");
    m_folder.MakeFile("0-7.exr");
    EXPECT_EQ(Ask("7", {}).first, 500u);
}

TEST_F(PictureRouteTest, TellsWhenToAskAgainWhereTooMuchIsBeingMade)
{
    PictureSettings settings;
    settings.decoders.program = WILD_DECODER_PROGRAM;
    settings.mostDiskBytes = 0;
    settings.mostAtOnce = 0;
    Pictures pictures(m_loop, settings);
    m_handler = PictureHandler(
        pictures,
        [](const std::string &, std::size_t, int, const std::function<void(FoundFrame)> &found) {
            found({"/r/a.exr", 200, {}});
        });
    EXPECT_EQ(Ask("7", {}).first, 429u);
    EXPECT_EQ(Header("Retry-After"), "1");
}

TEST_F(PictureRouteTest, ShowsARealFrameAndSaysWhyItDoesNotShowAnother)
{
    using namespace std::string_literals;
    Start(CORVAN_DECODE_PROGRAM);
    // One white pixel.
    m_folder.MakeFile("0-7.exr", "GIF89a\1\0\1\0\x80\0\0\xff\xff\xff\0\0\0,\0\0\0\0\1\0\1\0\0"
                                 "\2\2D\1\0;"s);
    const auto [status, jpeg] = Ask("7", {});
    ASSERT_EQ(status, 200u) << jpeg;
    EXPECT_TRUE(jpeg.starts_with("\xff\xd8\xff"));
    m_folder.MakeFile("0-8.exr", "<script>");
    const auto [refused, text] = Ask("8", {});
    EXPECT_EQ(refused, 422u);
    EXPECT_TRUE(text.starts_with("{\"error\":\"")) << text;
}
