#pragma once

#include <boost/asio/io_context.hpp>

namespace ostrel
{

/// Runs the loop until it is stopped, for a program that serves many: a handler that throws is
/// logged and the loop goes on. The handlers catch for themselves where something can be done.
void RunLoop(boost::asio::io_context &loop);

} // namespace ostrel
