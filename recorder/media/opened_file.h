// A film's file, opened at its pictures.
#pragma once

#include <string>

#include "media/av_ptr.h"

namespace kvrecorder {

struct OpenedFile {
    AvPtr<AVFormatContext> file;
    AVStream* pictures = nullptr;  // of the file; never null
    AvPtr<AVBSFContext> filter;    // null where packets can be taken as they are
};

// The packets of all other streams are left out. Throws std::runtime_error if the file cannot be read or has
// no pictures.
OpenedFile OpenFile(const std::string& path);

}  // namespace kvrecorder
