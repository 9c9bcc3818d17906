#include "codec/jpeg_error.h"

namespace kvmon {

namespace {

void LeaveByJump(j_common_ptr codec) {
    // The manager is the first member, so both have one address.
    auto* const errors = static_cast<JpegErrorExit*>(static_cast<void*>(codec->err));
    std::longjmp(errors->exit, 1);
}

void KeepQuiet(j_common_ptr) {}
void CountOnly(j_common_ptr codec, int level) {
    if (level < 0) {
        ++codec->err->num_warnings;
    }
}

}  // namespace

jpeg_error_mgr* InitJpegErrors(JpegErrorExit& errors) {
    jpeg_error_mgr* const manager = jpeg_std_error(&errors.manager);
    manager->error_exit = LeaveByJump;
    manager->output_message = KeepQuiet;
    manager->emit_message = CountOnly;
    return manager;
}

}  // namespace kvmon
