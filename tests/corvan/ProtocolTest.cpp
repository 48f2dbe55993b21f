#include "corvan/Protocol.h"

#include <gtest/gtest.h>

namespace
{

TEST(Protocol, SaysWhatTheOlderOneLacks)
{
    EXPECT_EQ(corvan::ProtocolDifference(1, 1), "");
    EXPECT_EQ(corvan::ProtocolDifference(1, 2),
              "protocol 1 lacks: users and rights, the token in the call's metadata, jobs that "
              "have an owner");
    EXPECT_EQ(corvan::ProtocolDifference(2, 1), corvan::ProtocolDifference(1, 2));
    EXPECT_EQ(corvan::ProtocolDifference(1, 3),
              corvan::ProtocolDifference(1, 2) + "; messages that come as one where several wait");
    EXPECT_EQ(corvan::ProtocolDifference(corvan::k_Protocol, corvan::k_Protocol + 1),
              "what protocol " + std::to_string(corvan::k_Protocol + 1) +
                  " brought is not known here");
}

TEST(Protocol, ThatIsNotToldIsTheFirst)
{
    EXPECT_EQ(corvan::ProtocolOf(0), 1u);
    EXPECT_EQ(corvan::ProtocolOf(7), 7u);
}

} // namespace
