#pragma once

#include <string>

namespace keeper
{

/// Runs one element of a job array on the machine that it was given to, as `Keeper` does, and
/// leaves its result; see ArrayFolder.h. It runs once, however often it is started: whoever is
/// started while another may still run it takes it over, and waits until that one has ended.
/// `element` is its number. The status for this process to end with.
int RunArrayElement(const std::string &folder, const std::string &element);

} // namespace keeper
