#include "check/pictures/DuplicateRule.h"

#include <string>

#include <gtest/gtest.h>

namespace check
{
namespace
{

// Of frames that are as their letters say, which are told; '.' is one that is not known.
std::string ToldOf(const std::string &shot)
{
    std::vector<decode::PictureMeasures> measures;
    for (const char letter : shot)
        measures.push_back({16, 9, 1, 1, std::uint64_t(letter), {{}}, {}});
    std::vector<const decode::PictureMeasures *> frames;
    for (const decode::PictureMeasures &one : measures)
        frames.push_back(one.hash == '.' ? nullptr : &one);
    std::string told(shot.size(), ' ');
    for (const auto &[frame, finding] : FindDuplicates(PictureSequence(frames)))
        told[frame] = finding.state == CheckState::Duplicate ? shot[frame] : '?';
    return told;
}

TEST(Duplicates, AreRunsOfTwoWithHardlyAnotherNear)
{
    const struct
    {
        const char *shot;
        const char *told;
    } cases[] = {
        {"abcdefghijklmnopqrstuvwxyz", "                          "},
        {"abcdefghijkkmnopqrstuvwxyz", "           k              "},
        // Two of them.
        {"abcdefghiijkkmnopqrstuvwxy", "         i  k             "},
        {"abcddfghijklmmopqrstuvwxyz", "    d        m            "},
        // More are a way of animation, unless they are far off.
        {"abbdefghijkkmnopqrrtuvwxyz", "  b               r       "},
        {"abcdefggijkkmnooqrstuvwxyz", "                          "},
        {"aabbccddeeffgghhiijjkkllmm", "                          "},
        {"abcdefghiikkmnopqrstuvwxyz", "                          "},
        {"aabbc", "     "},
        {"abbcc", "     "},
        // Holds.
        {"abcdefghijjjjjmnopqrstuvwx", "                          "},
        {"abcdefghijjjmnopqrstuvwxyz", "                          "},
        // One beside hides nothing; one that a wrong frame divides is no pair.
        {"aaaaaaaaaaabcdeefghijklmno", "               e          "},
        {"abcdeefghijjjjjjjjjjjjjjjj", "     e                    "},
        {"abcdefghhxhhhhhhijklmnopqr", "                          "},
        {"abcdefhhxyhhhhhhijklmnopqr", "                          "},
        {"abcdefghhhhhhxhhijklmnopqr", "                          "},
        {"abcdefhhhhhxyhhijklmnopqrs", "                          "},
        // What may go on where nothing is known.
        {"abcdefghijkk.nopqrstuvwxyz", "                          "},
        {"aabcdefghijklmnopqrstuvwxx", "                          "},
        // The same again, but not at once.
        {"abcdefghijkjlmnopqrstuvwxy", "                          "},
    };
    for (const auto &[shot, told] : cases)
        EXPECT_EQ(ToldOf(shot), told) << shot;
}

} // namespace
} // namespace check
