#include "master/door/Identity.h"

#include <algorithm>
#include <iterator>

namespace master
{

namespace
{

// In the order of the roles.
constexpr const char *k_role_names[] = {"watch", "submit", "edit-own", "edit-all", "admin"};

} // namespace

const char *RoleName(Role role)
{
    return k_role_names[int(role)];
}

std::optional<Role> ParseRole(const String &name)
{
    const auto *found =
        std::ranges::find_if(k_role_names, [&](const char *known) { return name == known; });
    if (found == std::end(k_role_names))
        return std::nullopt;
    return Role(found - std::begin(k_role_names));
}

String RoleNames()
{
    String names;
    for (const char *name : k_role_names)
        names += String(names.empty()                        ? ""
                        : name == std::end(k_role_names)[-1] ? " or "
                                                             : ", ") +
                 name;
    return names;
}

} // namespace master
