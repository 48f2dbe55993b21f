#include "check/pictures/LeftoverRule.h"

#include <algorithm>

#include "check/pictures/LoneLeftovers.h"
#include "check/pictures/PictureRules.h"
#include "check/pictures/WholeLeftovers.h"

namespace check
{

using namespace picture_rules;

namespace
{

// The most that any frame of the time around has. Not the second highest: here a fault that is
// hidden by another is rarer than pixels that come again by themselves in some frames.
float MostAround(const std::vector<Leftover> &leftovers, std::size_t frame)
{
    float most = 0;
    for (std::size_t step = 1; step <= std::size_t(k_History); ++step)
    {
        if (step <= frame)
            most = std::max(most, leftovers[frame - step].evidence);
        if (frame + step < leftovers.size())
            most = std::max(most, leftovers[frame + step].evidence);
    }
    return most;
}

bool StandsOut(const Leftover &leftover, float most)
{
    return leftover.evidence >= 1 && leftover.evidence > k_UsualTimes * most;
}

// The same place says as much at another time: something comes round.
bool IsHabit(const std::vector<Leftover> &leftovers, std::size_t frame)
{
    const Leftover &own = leftovers[frame];
    const std::size_t first = frame > k_LeftoverHabit ? frame - k_LeftoverHabit : 0;
    const std::size_t end = std::min(frame + k_LeftoverHabit + 1, leftovers.size());
    for (std::size_t other = first; other < end; ++other)
        if (other != frame && leftovers[other].evidence * k_HabitTimes >= own.evidence &&
            own.place.Overlaps(leftovers[other].place))
            return true;
    return false;
}

} // namespace

PictureFindings FindLeftovers(const PictureSequence &pictures)
{
    const SamePixels pixels(pictures);
    const std::vector<Leftover> lone = FindLoneLeftovers(pictures, pixels);
    const std::vector<Leftover> whole = FindWholeLeftovers(pictures, pixels);
    PictureFindings findings;
    for (std::size_t frame = 0; frame < pictures.Size(); ++frame)
    {
        const float most = MostAround(lone, frame);
        if (StandsOut(lone[frame], most))
            findings[frame] = FindingOf(pictures, frame, lone[frame]);
        else if (StandsOut(whole[frame], std::max(most, MostAround(whole, frame))) &&
                 !IsHabit(whole, frame))
            findings[frame] = FindingOf(pictures, frame, whole[frame]);
    }
    return findings;
}

} // namespace check
