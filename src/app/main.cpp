#include <cstdio>

#include "app/run.h"
#include "platform/caught.h"
#include "platform/heap_limits.h"

int main(int argc, char** argv) {
    kvmon::KeepHeapsFew();
    try {
        return kvmon::Run(argc, argv);
    } catch (...) {
        std::fprintf(stderr, "kvmon: cannot go on: %s\n", kvmon::TakeCaught().what.data());
        return 1;
    }
}
