#include <gtest/gtest.h>

// The common main of window tests starts one application for all cases; here each case starts the
// program itself, with its own options and arguments.
int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
