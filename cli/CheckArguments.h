#pragma once

#include "check/CheckSubject.h"
#include "check/LookAtTable.h"
#include "check/TableDecoder.h"
#include "cli/DecodeArguments.h"
#include "cli/ExitStatus.h"
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
    /// wanted; with a bar on a terminal. Images that could not be looked at are told on standard
    /// error. Throws `check::CheckException *`.
    void Check(check::CheckTable &table);

private:
    void TellTroubles(const check::CheckTable &table);

    RulesArguments m_rules;
    DecodeArguments m_decode;
    check::TableDecoder m_decoder;
    check::SystemClock m_clock;
    ostrel::String m_told; ///< Of troubles, the last time.
};

/// `k_CannotLook` where an image of the tables could not be looked at, or frames have no file that
/// could be looked for, else `otherwise`.
ExitStatus StatusUnlessUnseen(const check::CheckSubject &subject, ExitStatus otherwise);

} // namespace cli
