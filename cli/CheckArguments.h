#pragma once

#include <optional>
#include <string>
#include <vector>

#include "check/CheckSubject.h"
#include "check/LookAtTable.h"
#include "check/SealedFrames.h"
#include "check/TableDecoder.h"
#include "cli/DecodeArguments.h"
#include "cli/ExitStatus.h"
#include "cli/RulesArguments.h"

namespace CLI
{
class App;
class Option;
} // namespace CLI

namespace cli
{

/// The arguments that say how frames are checked, and the checking of them.
class CheckArguments
{
public:
    void Declare(CLI::App &verb);
    /// For a verb that may hold frames against what was sealed, too; gives the option.
    CLI::Option *DeclareSealed(CLI::App &verb);

    check::CheckDepth Depth() const
    {
        return m_decode.Depth();
    }

    /// What reading an image may take.
    decode::DecodeLimits Limits() const
    {
        return m_decode.Limits();
    }

    check::CheckRules Rules() const;

    /// Throws `Failure` for options that say nothing without others. `Check` does, too; this is for
    /// who prints before it.
    void NeedSense() const
    {
        m_decode.NeedWish();
    }

    /// One pass over a table that is filled: looks, judges, and reads the images where that is
    /// wanted; with a bar on a terminal. Images that could not be looked at are told on standard
    /// error. Throws `check::CheckException *`.
    void Check(check::CheckTable &table);
    /// Says that the tables will be checked pass after pass: what their pictures look like is kept.
    void ExpectPasses()
    {
        m_hasPasses = true;
    }
    /// Once all tables of a pass were checked: ends what reads images.
    void EndPass()
    {
        m_decoder.Rest();
    }

    /// Seals frames of a table that was checked, with a bar and troubles told in the same way.
    check::Sealed Seal(check::CheckTable &table, const std::vector<bool> &isWanted,
                       const check::SealWish &wish);

private:
    static void TellTroubles(const check::CheckTable &table, ostrel::String &told);

    void TellVariation(const check::CheckTable &table);

    RulesArguments m_rules;
    DecodeArguments m_decode;
    std::vector<std::string> m_sealed;
    std::optional<check::SealedFrames> m_seals; ///< Once they were read.
    check::TableDecoder m_decoder;
    bool m_hasPasses = false;
    check::SystemClock m_clock;
    ostrel::String m_told; ///< Of troubles, the last time; and of those of sealing.
    ostrel::String m_toldOfSeals;
    bool m_isVariationTold = false;
};

/// `k_CannotLook` where an image of the tables could not be looked at, or frames have no file that
/// could be looked for, else `otherwise`.
ExitStatus StatusUnlessUnseen(const check::CheckSubject &subject, ExitStatus otherwise);

} // namespace cli
