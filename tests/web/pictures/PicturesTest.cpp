#include "web/pictures/Pictures.h"

#include <fcntl.h>
#include <filesystem>
#include <set>
#include <sys/stat.h>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"
#include "tests/web/pictures/TurnLoop.h"

using namespace web;
using decode::DecodeRequest;
using decode::PictureWish;

namespace
{

namespace fs = std::filesystem;

class PicturesTest : public testing::Test
{
protected:
    PicturesTest()
    {
        m_settings.decoders.program = WILD_DECODER_PROGRAM;
        m_settings.decoders.count = 1;
        m_settings.folder = m_folder / "kept";
        m_settings.look = std::chrono::milliseconds(0); // Each request looks at the file.
    }
    ~PicturesTest() override
    {
        m_pictures.reset();
        EXPECT_FALSE(HasAnyChild()) << "something is left running";
    }

    // A file that the decoder does something with by its name, not by what it holds.
    Path Frame(const String &name, const std::string &content = "frame") const
    {
        return m_folder.MakeFile(name, content);
    }

    // Once more, as after a restart of the program.
    void Start()
    {
        m_pictures.reset();
        m_pictures = std::make_unique<Pictures>(m_loop, m_settings);
    }

    void Ask(const DecodeRequest &request, std::vector<Made> &told)
    {
        m_pictures->Get(request, [&told](const Made &made) { told.push_back(made); });
    }

    Made Get(const Path &path, const PictureWish &wish = {})
    {
        if (!m_pictures)
            Start();
        std::vector<Made> told;
        Ask({path, wish}, told);
        EXPECT_TRUE(TurnUntil(m_loop, [&told] { return !told.empty(); }));
        EXPECT_EQ(told.size(), 1u);
        return told.empty() ? Made() : told.front();
    }

    // The wild decoder writes its process number first: which picture was made anew is seen by it.
    static std::string MakerOf(const Made &made)
    {
        return made.bytes ? made.bytes->substr(3, made.bytes->find(" ") - 3)
                          : std::string(made.reason);
    }

    std::size_t KeptFiles() const
    {
        std::size_t count = 0;
        // One whose name begins with a dot is still being written.
        for (const auto &entry : fs::directory_iterator(std::string((m_folder / "kept").Text())))
            count += !entry.path().filename().string().starts_with('.');
        return count;
    }

    bool WaitForKept(std::size_t count)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (KeptFiles() != count && std::chrono::steady_clock::now() < end)
            std::this_thread::yield();
        return KeptFiles() == count;
    }

    TempFolder m_folder;
    boost::asio::io_context m_loop;
    PictureSettings m_settings;
    std::unique_ptr<Pictures> m_pictures;
};

} // namespace

TEST_F(PicturesTest, MakesAPictureOnceAndKeepsItAcrossRestarts)
{
    const Path frame = Frame("a.exr");
    const Made first = Get(frame);
    ASSERT_TRUE(first.bytes) << first.reason;
    EXPECT_EQ(MakerOf(Get(frame)), MakerOf(first));
    EXPECT_EQ(Get(frame).tag, first.tag);
    ASSERT_TRUE(WaitForKept(1));
    Start();
    EXPECT_EQ(*Get(frame).bytes, *first.bytes);
    EXPECT_EQ(Get(frame).tag, first.tag);
    EXPECT_EQ(m_pictures->Processes(), 0u) << "none was needed";
}

TEST_F(PicturesTest, MakesAnotherForAnotherWish)
{
    const Path frame = Frame("a.exr");
    const Path other = Frame("b.exr");
    std::vector<PictureWish> wishes(5);
    wishes[1].width = 128;
    wishes[2].exposure = 1.0f;
    wishes[3].channels = decode::PictureChannels::Red;
    wishes[4].minus = other;
    std::set<std::string> tags;
    for (const PictureWish &wish : wishes)
    {
        const Made made = Get(frame, wish);
        ASSERT_TRUE(made.bytes);
        EXPECT_NE(made.bytes->find(" " + std::to_string(wish.width) + " " + wish.minus.Text()),
                  std::string::npos);
        tags.insert(made.tag);
    }
    EXPECT_EQ(tags.size(), wishes.size());
    EXPECT_TRUE(WaitForKept(wishes.size()));
}

TEST_F(PicturesTest, MakesItAnewWhenTheFileHasChanged)
{
    const Path frame = Frame("a.exr", "one");
    const Path other = Frame("b.exr", "one");
    PictureWish difference;
    difference.minus = other;
    const auto setDate = [](const Path &path, std::time_t seconds)
    {
        const timespec times[2] = {{seconds, 5}, {seconds, 5}};
        ASSERT_EQ(utimensat(AT_FDCWD, path.Text().c_str(), times, 0), 0);
    };
    setDate(frame, 1'000'000);
    const std::string plain = Get(frame).tag;
    const std::string against = Get(frame, difference).tag;
    ASSERT_TRUE(WaitForKept(2));

    setDate(frame, 1'000'001);
    EXPECT_NE(Get(frame).tag, plain) << "another date";
    EXPECT_TRUE(WaitForKept(3));
    Frame("a.exr", "longer");
    setDate(frame, 1'000'000);
    EXPECT_NE(Get(frame).tag, plain) << "another size";
    Frame("a.exr", "one");
    setDate(frame, 1'000'000);
    EXPECT_EQ(Get(frame).tag, plain) << "as it was";
    EXPECT_EQ(Get(frame, difference).tag, against);
    setDate(other, 1'000'000);
    EXPECT_NE(Get(frame, difference).tag, against) << "the other frame";
}

TEST_F(PicturesTest, LooksAtAFileNoMoreOftenThanItIsTold)
{
    m_settings.look = std::chrono::hours(1);
    const Path frame = Frame("a.exr", "one");
    const std::string tag = Get(frame).tag;
    Frame("a.exr", "longer");
    EXPECT_EQ(Get(frame).tag, tag);
}

TEST_F(PicturesTest, LooksAtAFileThatWasToldAsAnotherHoweverYoungThePictureIs)
{
    m_settings.look = std::chrono::hours(1);
    const Path frame = Frame("a.exr", "one");
    const std::string tag = Get(frame).tag;
    Frame("a.exr", "longer");
    const auto changed = Pictures::Clock::now();
    std::vector<Made> told;
    m_pictures->Get(
        {frame, PictureWish()}, [&told](const Made &made) { told.push_back(made); }, changed);
    ASSERT_TRUE(TurnUntil(m_loop, [&told] { return !told.empty(); }));
    EXPECT_NE(told.front().tag, tag);
    EXPECT_EQ(Get(frame).tag, told.front().tag);
}

// One that is being made is of what the file was when it was begun.
TEST_F(PicturesTest, GivesNobodyWhatWasBegunBeforeTheFileChanged)
{
    m_settings.look = std::chrono::hours(1);
    const Path frame = Frame("a.exr", "one");
    Start();
    std::vector<Made> told;
    Ask({frame, PictureWish()}, told);
    Frame("a.exr", "longer");
    std::vector<Made> later;
    m_pictures->Get(
        {frame, PictureWish()}, [&later](const Made &made) { later.push_back(made); },
        Pictures::Clock::now());
    ASSERT_TRUE(TurnUntil(m_loop, [&] { return !told.empty() && !later.empty(); }));
    const std::string tag = later.front().tag;
    m_settings.look = std::chrono::milliseconds(0);
    Start();
    EXPECT_EQ(Get(frame).tag, tag) << "of the file as it is";
}

TEST_F(PicturesTest, MakesOneForAllWhoAskForTheSame)
{
    const Path frame = Frame("a.exr");
    Start();
    std::vector<Made> told;
    for (int i = 0; i < 200; ++i)
        Ask({frame, PictureWish()}, told);
    ASSERT_TRUE(TurnUntil(m_loop, [&told] { return told.size() == 200; }));
    for (const Made &made : told)
        EXPECT_EQ(made.bytes, told.front().bytes) << "one and the same";
}

TEST_F(PicturesTest, TellsWhyThereIsNoneAtOnceWhenItIsAskedAgain)
{
    for (const char *name : {"crash", "refused", "nonsense"})
    {
        const Path frame = Frame(name + String(".exr"));
        const Made first = Get(frame);
        EXPECT_FALSE(first.bytes);
        EXPECT_NE(first.reason, "");
        m_settings.decoders.program = "/bin/false"; // Whoever asked it would be told so.
        const std::string reason = first.reason;
        Pictures &pictures = *m_pictures;
        const std::size_t before = pictures.Processes();
        EXPECT_EQ(Get(frame).reason, reason);
        EXPECT_LE(pictures.Processes(), before);
        m_settings.decoders.program = WILD_DECODER_PROGRAM;
        EXPECT_TRUE(Get(Frame("good.exr")).bytes) << "the next one works";
    }
}

TEST_F(PicturesTest, AFileThatHangsIsNotTriedAgainBeforeAPause)
{
    m_settings.decoders.time = std::chrono::seconds(3);
    m_settings.pause = std::chrono::hours(1);
    const Path frame = Frame("hang.exr");
    EXPECT_EQ(Get(frame).reason, "took longer than 3 s");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Get(frame).reason, "took longer than 3 s");
    // Another try would take as long again.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, m_settings.decoders.time);

    // Where memory has no limit it is the time that ends it.
    m_settings.pause = std::chrono::seconds(0);
    m_settings.decoders.memoryMib = 64;
    m_settings.decoders.time = std::chrono::seconds(1);
    Start();
    EXPECT_NE(Get(Frame("eat.exr")).reason, "");
    EXPECT_NE(Get(Frame("eat.exr")).reason, "");
}

TEST_F(PicturesTest, SaysThatThereIsNoFileAndSeesItWhenItComes)
{
    EXPECT_EQ(Get(m_folder / "a.exr").reason, "there is no such file");
    EXPECT_TRUE(Get(Frame("a.exr")).bytes);
    PictureWish wish;
    wish.minus = m_folder / "b.exr";
    EXPECT_EQ(Get(m_folder / "a.exr", wish).reason, "the other frame: there is no such file");
}

TEST_F(PicturesTest, ReadsNothingThatIsNoFile)
{
    ASSERT_EQ(mkfifo((m_folder / "pipe.exr").Text().c_str(), 0600), 0);
    for (const Path &path : {m_folder / "pipe.exr", Path("/dev/zero"), m_folder.Folder()})
        EXPECT_EQ(Get(path).reason, "it is no file") << path.Text();
    EXPECT_EQ(Get(std::string("/r/a\0b", 6)).reason, "no file has such a name");
    EXPECT_EQ(Get("").reason, "no file has such a name");
    EXPECT_EQ(m_pictures->Processes(), 0u);
}

TEST_F(PicturesTest, SaysThatItIsBusyWhereTooManyAreUnderWay)
{
    m_settings.decoders.mostWaiting = 2;
    m_settings.mostAtOnce = 4;
    m_settings.decoders.time = std::chrono::seconds(1);
    Start();
    std::vector<Made> told;
    Ask({Frame("hang.exr"), PictureWish()}, told);
    for (int i = 0; i < 8; ++i)
        Ask({Frame(std::to_string(i) + ".exr"), PictureWish()}, told);
    ASSERT_TRUE(TurnUntil(m_loop, [&told] { return told.size() == 9; }));
    int busy = 0;
    int made = 0;
    for (const Made &one : told)
    {
        busy += one.isBusy;
        made += one.bytes != nullptr;
    }
    EXPECT_GE(busy, 5);
    // The one that hangs is refused, too, where the disk gave others first.
    EXPECT_GE(busy + made, 8);
    EXPECT_TRUE(Get(Frame("later.exr")).bytes);
}

TEST_F(PicturesTest, SaysThatItIsOurFaultWhereThereIsNoDecoder)
{
    m_settings.decoders.program = "/no/such/program";
    const Made made = Get(Frame("a.exr"));
    EXPECT_TRUE(made.isOurFault);
    EXPECT_EQ(made.reason, "cannot start /no/such/program: No such file or directory");
}

TEST_F(PicturesTest, GivesPicturesWithoutACache)
{
    m_settings.folder = Frame("no folder");
    EXPECT_TRUE(Get(Frame("a.exr")).bytes);
    m_settings.mostDiskBytes = 0;
    m_settings.mostMemoryBytes = 0;
    Start();
    EXPECT_TRUE(Get(Frame("a.exr")).bytes);
}

TEST_F(PicturesTest, TwoServersUseOneFolder)
{
    const Path frame = Frame("a.exr");
    const Made made = Get(frame);
    ASSERT_TRUE(WaitForKept(1));
    Pictures other(m_loop, m_settings);
    std::vector<Made> told;
    other.Get({frame, PictureWish()}, [&told](const Made &one) { told.push_back(one); });
    ASSERT_TRUE(TurnUntil(m_loop, [&told] { return !told.empty(); }));
    EXPECT_EQ(*told.front().bytes, *made.bytes);
    EXPECT_EQ(other.Processes(), 0u);
}

TEST_F(PicturesTest, TellsWhatReadingAFrameHasShown)
{
    Start();
    std::vector<Made> told;
    Ask({Frame("a.exr"), std::nullopt}, told);
    ASSERT_TRUE(TurnUntil(m_loop, [&told] { return !told.empty(); }));
    ASSERT_TRUE(told.front().bytes);
    EXPECT_TRUE(told.front().bytes->starts_with("{\"width\":")) << *told.front().bytes;
    EXPECT_NE(told.front().bytes->find("\"format\":\"a\""), std::string::npos);
}

TEST_F(PicturesTest, TellsNobodyAnythingOnceItIsGone)
{
    Start();
    std::vector<Made> told;
    for (int i = 0; i < 20; ++i)
        Ask({Frame(std::to_string(i) + ".exr"), PictureWish()}, told);
    Ask({Frame("hang.exr"), PictureWish()}, told);
    TurnUntil(m_loop, [this] { return m_pictures->Processes() > 0; });
    const std::size_t before = told.size();
    m_pictures.reset();
    EXPECT_FALSE(HasAnyChild());
    m_loop.restart();
    m_loop.poll();
    EXPECT_EQ(told.size(), before);
}
