#include "wxcorvan/wxcColorManaged.h"

#include <set>
#include <vector>

namespace wxcorvan
{

namespace
{

std::set<wxcColorManaged *> &LiveOnes()
{
    static std::set<wxcColorManaged *> s_live;
    return s_live;
}

} // namespace

wxcColorManaged::wxcColorManaged()
{
    LiveOnes().insert(this);
}

wxcColorManaged::~wxcColorManaged()
{
    LiveOnes().erase(this);
}

void wxcColorManaged::ApplyToAll()
{
    // Recolouring may make or end others: a copy is walked, and each is looked up again.
    const std::vector<wxcColorManaged *> live(LiveOnes().begin(), LiveOnes().end());
    for (wxcColorManaged *one : live)
        if (LiveOnes().contains(one))
            one->ApplyColors();
}

} // namespace wxcorvan
