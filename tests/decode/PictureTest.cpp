#include "decode/Picture.h"

#include <gtest/gtest.h>

using namespace decode;
using namespace std::string_literals;

namespace
{

std::string JpegOf(std::size_t bytes)
{
    return "\xff\xd8\xff" + std::string(bytes - 5, 'x') + "\xff\xd9";
}

std::vector<std::string> MessagesOf(const Picture &picture)
{
    std::vector<std::string> messages{PackPictureHead(picture)};
    for (std::size_t at = 0; at < picture.jpeg.size(); at += k_PicturePiece)
        messages.push_back(picture.jpeg.substr(at, k_PicturePiece));
    return messages;
}

} // namespace

TEST(PictureReceiver, PutsTogetherWhatWasSent)
{
    for (const std::size_t size :
         {std::size_t(5), k_PicturePiece, k_PicturePiece + 1, 3 * k_PicturePiece - 1})
    {
        Picture picture;
        picture.jpeg = JpegOf(size);
        PictureReceiver receiver;
        for (const std::string &message : MessagesOf(picture))
        {
            EXPECT_FALSE(receiver.IsWhole());
            EXPECT_TRUE(receiver.Add(message));
        }
        ASSERT_TRUE(receiver.IsWhole());
        EXPECT_EQ(receiver.Take().jpeg, picture.jpeg);
    }
}

TEST(PictureReceiver, TakesAReasonInOneLine)
{
    Picture picture;
    picture.reason = "nothing\nto\x1b[see";
    PictureReceiver receiver;
    EXPECT_TRUE(receiver.Add(PackPictureHead(picture)));
    ASSERT_TRUE(receiver.IsWhole());
    EXPECT_EQ(receiver.Take().reason, "nothing to [see");
}

TEST(PictureReceiver, RefusesWhatIsNoPicture)
{
    const std::vector<std::string> cases[] = {
        {"words"},
        {""},
        {"picture\0\0\0x"s},
        {"picture\0\0\0-1"s},
        {"picture\0\0\0000"s}, // Neither picture nor reason.
        {"picture\0\0why\00012"s},
        {"picture\0\0\00012\0more"s},
        {"picture\0\0\000"s + std::to_string(k_MostPictureBytes + 1)},
        {"picture\0\0\00012"s, JpegOf(11)},
        {"picture\0\0\00012"s, JpegOf(13)},
        {"picture\0\0\00012"s, "<html></html"},
        {"picture\0\0\00012"s, "\xff\xd8\xff<script>x"},
        {"picture\0\0\00050000"s, JpegOf(40000)},
    };
    for (const std::vector<std::string> &messages : cases)
    {
        PictureReceiver receiver;
        bool isTaken = true;
        for (const std::string &message : messages)
            isTaken = isTaken && receiver.Add(message);
        EXPECT_FALSE(isTaken) << messages.front();
    }
}
