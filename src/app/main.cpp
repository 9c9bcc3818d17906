#include <cstdio>
#include <exception>

#include "app/run.h"

int main(int argc, char** argv) {
    try {
        return kvmon::Run(argc, argv);
    } catch (const std::exception& cause) {
        std::fprintf(stderr, "kvmon: cannot go on: %s\n", cause.what());
        return 1;
    }
}
