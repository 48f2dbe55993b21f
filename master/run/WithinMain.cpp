#include "master/run/RunWithin.h"

int main(int argc, char **argv)
{
    return master::RunWithin(std::span<const char *const>(argv + 1, std::size_t(argc - 1)));
}
