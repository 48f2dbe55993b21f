#pragma once

#include "ostrel/Exception.h"

namespace check
{

using ostrel::String;

/// The frames could not be looked at, so nothing is known of them. The text names what and why.
class CheckException : public ostrel::Exception
{
public:
    using Exception::Exception;
};

} // namespace check
