#pragma once

#include "check/LookAtTable.h"
#include "check/TableDecoder.h"
#include "cli/DecodeArguments.h"
#include "cli/RulesArguments.h"

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

    check::CheckRules Rules() const;

    /// One pass over a table that is filled: looks, judges, and reads the images where that is
    /// wanted; with a bar on a terminal. Throws `check::CheckException *`.
    void Check(check::CheckTable &table);

private:
    RulesArguments m_rules;
    DecodeArguments m_decode;
    check::TableDecoder m_decoder;
    check::SystemClock m_clock;
};

} // namespace cli
