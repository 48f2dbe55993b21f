#include "ostrel/RunLoop.h"

#include "ostrel/Attempt.h"
#include "ostrel/Log.h"

namespace ostrel
{

void RunLoop(boost::asio::io_context &loop)
{
    while (!loop.stopped())
        if (const auto reason = Attempt([&] { loop.run(); }))
            LogError(*reason);
}

} // namespace ostrel
