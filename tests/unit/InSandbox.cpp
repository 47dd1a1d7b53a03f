#include "InSandbox.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <vector>

void moveIntoSandbox(char** argv)
{
    std::vector<const char*> arguments = {ZEMO_SOURCE_DIR "/tools/sandbox", "--quiet", "--"};
    bool listing = false;
    for (; *argv; ++argv)
    {
        listing = listing || strcmp(*argv, "--gtest_list_tests") == 0;
        arguments.push_back(*argv);
    }
    if (listing || getenv("ZEMO_IN_SANDBOX"))
    {
        return;
    }
    arguments.push_back(nullptr);
    execv(arguments.front(), const_cast<char**>(arguments.data()));
    perror(arguments.front());
    exit(EXIT_FAILURE);
}
