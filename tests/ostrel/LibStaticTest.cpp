#include "ostrel/LibStatic.h"

#include <functional>
#include <memory>

#include <gtest/gtest.h>

#include "ostrel/CommandLine.h"
#include "tests/support/Printing.h"

using ostrel::LibStatic;
using ostrel::String;

namespace
{

// Notes what it is told, and does something of the test's when it is told.
class Told : public LibStatic
{
public:
    Told(const String &name, std::string &notes, std::function<void()> also = {})
        : LibStatic(name), m_notes(notes), m_also(std::move(also))
    {
    }

    void OnLibStartup(ostrel::CommandLine & /*commandLine*/) override
    {
        Note('+');
    }
    void OnLibCleanup() override
    {
        Note('-');
    }

private:
    void Note(char sign)
    {
        m_notes += sign + LibName() + ' ';
        if (m_also)
            m_also();
    }

    std::string &m_notes;
    std::function<void()> m_also;
};

void Start()
{
    ostrel::CommandLine commandLine;
    LibStatic::NotifyStartup(commandLine);
}

} // namespace

TEST(LibStatic, IsToldInOrderAndCleansUpInReverse)
{
    std::string notes;
    const Told a("a", notes);
    const Told b("b", notes);
    Start();
    LibStatic::NotifyCleanup();
    EXPECT_EQ(notes, "+a +b -b -a ");
}

TEST(LibStatic, IsNotToldAfterItIsGone)
{
    std::string notes;
    auto a = std::make_unique<Told>("a", notes);
    const Told b("b", notes);
    a.reset();
    Start();
    EXPECT_EQ(notes, "+b ");
}

TEST(LibStatic, MayGoWhileTheOthersAreTold)
{
    for (const int gone : {0, 1, 2})
    {
        std::string notes;
        std::unique_ptr<Told> told[3];
        told[0] = std::make_unique<Told>("a", notes);
        told[1] = std::make_unique<Told>("b", notes, [&] { told[gone == 1 ? 0 : gone].reset(); });
        told[2] = std::make_unique<Told>("c", notes);
        Start();
        EXPECT_EQ(notes, gone == 2 ? "+a +b " : "+a +b +c ") << gone;

        notes.clear();
        told[1] = nullptr;
        LibStatic::NotifyCleanup();
        EXPECT_EQ(notes, gone == 2 ? "-a " : "-c ") << gone;
    }
}

TEST(LibStatic, ThatComesWhileTheOthersAreToldIsToldToo)
{
    std::string notes;
    std::unique_ptr<Told> late;
    const Told a("a", notes,
                 [&]
                 {
                     if (!late)
                         late = std::make_unique<Told>("late", notes);
                 });
    Start();
    EXPECT_EQ(notes, "+a +late ");
}
