#include "app/run.h"

int main(int argc, char** argv) {
    return kvmon::Run(argc, argv);
}
