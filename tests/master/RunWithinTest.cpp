#include "master/run/RunWithin.h"

#include <boost/process/child.hpp>
#include <boost/process/io.hpp>

#include <gtest/gtest.h>

#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

namespace master
{
namespace
{

namespace process = boost::process;

class Within : public testing::Test
{
protected:
    // Runs a command behind the program and gives what it ends with; what it prints is in m_said.
    int Run(const std::vector<RootedPath> &paths, const std::vector<std::string> &command)
    {
        std::vector<std::string> all = WithinCommand(paths, command);
        EXPECT_TRUE(all.front().ends_with("libexec/ordwick/corvan-within"));
        all.front() = CORVAN_WITHIN_PROGRAM;
        const Path said = m_folder / "said";
        process::child child(all, (process::std_out & process::std_err) > said.Text());
        child.wait();
        m_said = ContentOf(said);
        return child.exit_code();
    }

    RootedPath Rooted(const String &path)
    {
        return {"Scene", m_folder / path, {m_folder / "in"}};
    }

    TempFolder m_folder;
    std::string m_said;
};

TEST_F(Within, TheRootsACommandRunsAsItIs)
{
    EXPECT_EQ(Run({Rooted("in/a"), Rooted("in/b")},
                  {"sh", "-c", "printf '%s|' \"$@\"; exit 5", "x", "--path", "a b", "", "--"}),
              5);
    EXPECT_EQ(m_said, "--path|a b||--|");
}

TEST_F(Within, TheRootsNoCommandRunsWithAPathThatLeadsOut)
{
    EXPECT_EQ(Run({Rooted("in/a"), Rooted("out")}, {"sh", "-c", "echo ran"}), k_LeadsOut);
    EXPECT_TRUE(
        m_said.starts_with("corvan-within: Scene " + (m_folder / "out").Text() + " leads to "))
        << m_said;
    EXPECT_EQ(m_said.find("ran\n"), std::string::npos);
}

TEST_F(Within, TheRootsACommandThatIsNotThereIsNamed)
{
    EXPECT_EQ(Run({Rooted("in/a")}, {"/no/such/program"}), k_CannotStart);
    EXPECT_EQ(m_said, "corvan-within: cannot start /no/such/program: No such file or directory\n");
}

} // namespace
} // namespace master
