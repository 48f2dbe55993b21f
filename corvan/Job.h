#pragma once

#include <boost/shared_ptr.hpp>
#include <utility>
#include <vector>

#include "corvan/CorvanObject.h"
#include "corvan/Parameters.h"
#include "ostrel/Path.h"

namespace corvan
{

class JobType;

/// A job of the farm: an identifier, a type, and parameters that are texts by name.
///
/// Held by `boost::shared_ptr`. Not thread-safe; used on the program's main thread.
class Job : public CorvanObject
{
public:
    explicit Job(boost::shared_ptr<const JobType> type);

    String Name() const override;
    void SetNote(const String &note) override;

    const JobType &Type() const
    {
        return *m_type;
    }
    /// What people call the type: "POV-Ray".
    String TypeString() const;

    /// Reads a parameter. False, with `value` untouched, when it is not set. `p_Type` gives the
    /// type's identifier.
    virtual bool GetParameter(const String &name, String &value) const;

    /// The same with the text returned: empty when not set. `orDefault`: a parameter that is not
    /// set gives the type's default for it.
    virtual String ParameterText(const String &name, bool orDefault) const;

    /// Sets a parameter. False, and nothing changed, for a value that cannot be: see
    /// `CheckParameter`.
    virtual bool SetParameter(const String &name, const String &value);

    /// Why this job would refuse the value, as a sentence that names the parameter; empty when it
    /// takes it. Refused is what `CheckParameterText` refuses, and besides: a "CustomRange" for a
    /// type that has none, more than 1,000 parameters, more than 8 MiB of them in sum.
    virtual String CheckParameter(const String &name, const String &value) const;

    /// Takes over another job's parameters and type, in place of its own. `withRun`: also what came
    /// of its run (status, note, task counts, creation time); the caller then resets what it does
    /// not want. The identifier is never taken over. Both types render frames, or neither does.
    virtual void CopyFrom(const Job &other, bool withRun);

    /// Sets what the type has a default for and this job lacks, so that all who read the job see
    /// the same values whatever their own copy of the type says. Done before a job is sent.
    void TakeDefaults();

    /// All that is set, in the order in which it was first set.
    const std::vector<std::pair<String, String>> &Parameters() const
    {
        return m_parameters;
    }

protected:
    /// Stores without a check.
    void Store(const String &name, const String &value);
    void Remove(const String &name);
    /// Null when not set; valid until the next change.
    const String *Find(const String &name) const;

private:
    String CheckRoom(const String &name, const String &value) const;

    boost::shared_ptr<const JobType> m_type;
    std::vector<std::pair<String, String>> m_parameters;
    std::size_t m_bytes = 0; // Of all names and values.
};

/// A job that renders frames to files.
///
/// "CustomRange" is set, perhaps to nothing, for every type that has one. "UserRange" is what is
/// looked for: the custom range where it is not empty, else the range; it is set when one of the
/// two is. Setting it by name stores that text until the range or the custom range is set next.
class RenderJob : public Job
{
public:
    explicit RenderJob(boost::shared_ptr<const JobType> type);

    bool GetParameter(const String &name, String &value) const override;
    bool SetParameter(const String &name, const String &value) override;

    /// The pattern that a finished frame's name suggests: its last run of digits before the
    /// extension replaced by "%0Nd" (leading zero, or four digits and more) or "%d". An extension
    /// of digits alone is the frame number. A literal "%" is doubled. Without digits the path comes
    /// back, its "%" doubled.
    static String GetSpecifierFromFilename(const ostrel::Path &filename);
};

} // namespace corvan
