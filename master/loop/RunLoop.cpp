#include "master/loop/RunLoop.h"

#include "ostrel/Attempt.h"
#include "ostrel/Log.h"

namespace master
{

void RunLoop(boost::asio::io_context &loop)
{
    while (!loop.stopped())
        if (const auto reason = ostrel::Attempt([&] { loop.run(); }))
            ostrel::LogError(*reason);
}

} // namespace master
