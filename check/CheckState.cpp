#include "check/CheckState.h"

namespace check
{

using analysis::FrameState;

std::string_view StateText(CheckState state)
{
    switch (state)
    {
    case CheckState::Ok:
        return "ok";
    case CheckState::Missing:
        return "missing";
    case CheckState::TooSmall:
        return "too-small";
    case CheckState::Outlier:
        return "outlier";
    case CheckState::Undecodable:
        return "undecodable";
    case CheckState::OddImage:
        return "odd-image";
    case CheckState::Blank:
        return "blank";
    case CheckState::Nan:
        return "nan";
    case CheckState::Duplicate:
        return "duplicate";
    case CheckState::Black:
        return "black";
    case CheckState::Patch:
        return "patch";
    case CheckState::Pop:
        return "pop";
    case CheckState::Sparks:
        return "sparks";
    case CheckState::Changed:
        return "changed";
    }
    return "";
}

CheckDepth DepthOf(CheckState state)
{
    if (state >= CheckState::Duplicate)
        return CheckDepth::Pictures;
    return state >= CheckState::Undecodable ? CheckDepth::Images : CheckDepth::Sizes;
}

CheckState StateOf(FrameState verdict)
{
    switch (verdict)
    {
    case FrameState::Ok:
        return CheckState::Ok;
    case FrameState::Missing:
        return CheckState::Missing;
    case FrameState::TooSmall:
        return CheckState::TooSmall;
    case FrameState::Outlier:
        return CheckState::Outlier;
    }
    return CheckState::Ok;
}

} // namespace check
