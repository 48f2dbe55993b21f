#pragma once

#include <map>

#include "ostrel/String.h"

namespace check
{

using ostrel::String;

/// Colours of a plot, "#RRGGBB", by the names that the window has for them.
using PlotColours = std::map<String, String>;

/// Those of the window's light theme, as installed.
PlotColours ReadPlotColours();

} // namespace check
