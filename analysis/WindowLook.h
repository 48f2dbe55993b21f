#pragma once

namespace analysis
{

/// What can be told of a row at a glance.
enum class WindowLook
{
    Fine,
    Outlier,
    Unclear, ///< Only the spreads around it tell.
};

} // namespace analysis
