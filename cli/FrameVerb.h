#pragma once

#include "cli/SubjectArguments.h"
#include "cli/Verb.h"

namespace cli
{

/// A verb about frames: those of a job, which the Master is asked for, or those of patterns.
class FrameVerb : public Verb
{
public:
    /// `refusal`: what a refusal ends with. Where bad frames end with the status of a refusal, it
    /// is `k_CannotLook`.
    explicit FrameVerb(ExitStatus refusal) : m_refusal(refusal) {}

    bool NeedsMaster() const override
    {
        return m_subject.IsJob();
    }

    ExitStatus RefusalStatus() const override
    {
        return m_refusal;
    }

protected:
    SubjectArguments m_subject;

private:
    ExitStatus m_refusal;
};

} // namespace cli
