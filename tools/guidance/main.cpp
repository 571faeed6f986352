// guidance: the bench tool that drives the library from positioning input to
// guidance records and exports.
#include "CoreLibrary.h"

#include <cstdio>
#include <cstring>

int main(int argc, char** argv)
{
    if (argc > 1 && std::strcmp(argv[1], "--help") == 0)
    {
        std::printf("usage: guidance [--help]\n");
        return 0;
    }
    std::printf("libCoreLibrary is linked and running.\n");
    return 0;
}
