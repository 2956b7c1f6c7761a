// Games that libFuzzer chooses.

#include <cstdio>
#include <cstdlib>

#include "play.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const directory where;
    const std::string problem = play(where, {data, size});
    if (problem.empty())
        return 0;
    fprintf(stderr, "%s\n", problem.c_str());
    abort();
}
