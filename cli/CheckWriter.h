#pragma once

#include "check/CheckSubject.h"
#include "check/StateChanges.h"
#include "cli/Output.h"

namespace CLI
{
class App;
}

namespace cli
{

using check::CheckSubject;
using check::CheckTable;
using check::StateChanges;
using ostrel::String;

/// How a check is written: for people, as JSON or as paths; the arguments that choose, and the
/// writing to standard output.
class CheckWriter
{
public:
    CheckWriter() : m_out(stdout) {}

    void Declare(CLI::App &verb);

    /// Before a table is looked at.
    void Begin(const CheckTable &table, const String &range);
    /// After it was judged.
    void Write(const CheckTable &table);
    /// After all were.
    void End(const CheckSubject &subject, check::CheckDepth depth);

    /// After a later pass in which something changed: what did, and how things stand.
    void WriteChanges(const CheckTable &table, const StateChanges &changes);

    /// After so many crops were written into a folder.
    void WriteCrops(std::size_t count, const String &folder);

private:
    bool IsText() const
    {
        return !m_asJson && !m_asPaths;
    }
    void WritePaths(const CheckTable &table);

    Output m_out;
    bool m_asJson = false;
    bool m_asPaths = false;
    bool m_isZeroEnded = false;
};

} // namespace cli
