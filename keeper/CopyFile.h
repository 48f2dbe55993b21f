#pragma once

#include <functional>
#include <string>

namespace keeper
{

/// Copies a file, its times and permissions with it, over one that may be there. Shares what both
/// have in common where the file system can. False, with the reason and without a copy, where it
/// cannot be copied or `isOver` says that there is no need any more.
bool CopyFile(const std::string &from, const std::string &to, const std::function<bool()> &isOver,
              std::string *reason);

} // namespace keeper
