#pragma once

#include <boost/asio/io_context.hpp>

namespace master
{

/// Runs the loop until it is stopped. A handler that throws is logged and the loop goes on: where
/// the program ended, so would all commands. The handlers catch for themselves where something can
/// be done; what comes here are the odd reads outside of a turn.
void RunLoop(boost::asio::io_context &loop);

} // namespace master
