#include "cli/RunCorvan.h"
#include "cli/StandardStreams.h"

int main(int argc, char *argv[])
{
    cli::OccupyStandardStreams();
    return cli::RunCorvan({argv + 1, argv + argc});
}
