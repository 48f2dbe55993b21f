#pragma once

#include "cli/CheckRules.h"
#include "cli/DecodeTable.h"
#include "cli/LookAtTable.h"

namespace cli
{

/// The arguments that say how frames are checked, and the checking of them.
class CheckArguments
{
public:
    void Declare(CLI::App &verb);

    bool IsDecoded() const
    {
        return m_decode.IsWanted();
    }

    CheckRules Rules() const;

    /// One pass over a table that is filled: looks, judges, and reads the images where that is
    /// wanted; with a bar on a terminal. Throws `Failure *` (could not look).
    void Check(CheckTable &table);

private:
    RulesArguments m_rules;
    DecodeArguments m_decode;
    TableDecoder m_decoder;
    SystemClock m_clock;
};

} // namespace cli
