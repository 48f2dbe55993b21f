#include "cli/RunCorvan.h"

int main(int argc, char *argv[])
{
    return cli::RunCorvan({argv + 1, argv + argc});
}
