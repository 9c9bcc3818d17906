// libjpeg's errors as a jump. Inside this folder only.
#pragma once

#include <csetjmp>
#include <cstdio>

#include <jpeglib.h>

namespace kvmon {

// To be made the codec's error manager. Whoever sets `exit` must have no objects with destructors
// between there and the library's calls.
struct JpegErrorExit {
    jpeg_error_mgr manager;
    std::jmp_buf exit;
};

jpeg_error_mgr* InitJpegErrors(JpegErrorExit& errors);

}  // namespace kvmon
