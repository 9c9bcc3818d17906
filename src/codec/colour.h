// The conversion matrix that a picture's levels ask for. Inside this folder only.
#pragma once

#include <libyuv.h>

#include "codec/picture.h"

namespace kvmon {

inline const libyuv::YuvConstants* YuvMatrix(const PictureView& picture) {
    if (picture.bt709) {
        return picture.fullRange ? &libyuv::kYuvF709Constants : &libyuv::kYuvH709Constants;
    }
    return picture.fullRange ? &libyuv::kYuvJPEGConstants : &libyuv::kYuvI601Constants;
}

}  // namespace kvmon
