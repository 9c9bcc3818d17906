#include "platform/process_privacy.h"

#include <sys/prctl.h>

namespace kvmon {

void KeepMemoryPrivate() {
    ::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
}

}  // namespace kvmon
