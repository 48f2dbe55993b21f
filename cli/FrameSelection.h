#pragma once

#include <string>

#include "cli/CheckArguments.h"
#include "cli/SubjectArguments.h"

namespace cli
{

/// The arguments that say which frames of a subject something is done to: the bad ones, or some by
/// the numbers of their files.
class FrameSelection
{
public:
    void Declare(CLI::App &verb);

    /// Fills, and where it must looks at, the tables; gives for each the rows that are selected.
    /// Where some of the numbers that are named are no frames it says so on standard error. Throws
    /// `Failure *`, refused where none of them is.
    std::vector<std::vector<std::size_t>> Find(CheckSubject &subject);

private:
    bool m_isBad = false;
    std::string m_selected;
    CheckArguments m_check;
};

} // namespace cli
