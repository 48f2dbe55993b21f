#include "ostrel/RunLoop.h"

#include <boost/asio/post.hpp>
#include <boost/system/system_error.hpp>

#include <gtest/gtest.h>

#include "ostrel/Exception.h"
#include "tests/support/LogCapture.h"

TEST(RunLoop, GoesOnWhateverAHandlerThrows)
{
    boost::asio::io_context loop;
    boost::asio::post(loop, [] { throw new ostrel::Exception("disk full"); });
    boost::asio::post(loop, [] { throw std::bad_alloc(); });
    boost::asio::post(
        loop,
        [] { throw boost::system::system_error(boost::asio::error::no_descriptors, "epoll"); });
    bool isReached = false;
    boost::asio::post(loop,
                      [&]
                      {
                          isReached = true;
                          loop.stop();
                      });

    const LogCapture log;
    ostrel::RunLoop(loop);
    EXPECT_TRUE(isReached);
    EXPECT_EQ(
        log.Texts(ostrel::k_LogError),
        (std::vector<std::string>{"disk full", "out of memory", "epoll: Too many open files"}));
}
