// Scaling by a VA-API device. Inside this folder only.
#pragma once

#include <va/va.h>

#include "codec/av_owner.h"
#include "codec/picture.h"

namespace kvmon {

// One thread at a time. Keeps what it needs on the device for one size, until another is asked for.
class VaScaler {
public:
    VaScaler() = default;
    VaScaler(const VaScaler&) = delete;
    VaScaler& operator=(const VaScaler&) = delete;
    ~VaScaler() { Close(); }

    // Scales a picture that libavcodec decoded on the device and reads it back into `out`, which is empty:
    // NV12 with the picture's levels and colours. False if the device does not do it.
    bool Scale(const AVFrame& picture, PictureSize size, AVFrame& out);

private:
    bool Open(AVBufferRef& device, PictureSize size);
    bool Process(const AVFrame& picture);
    void Close();

    PictureSize m_size;  // that it is open for
    AvOwner<AVFrame> m_target;
    VADisplay m_display = nullptr;
    VAConfigID m_config = VA_INVALID_ID;
    VAContextID m_context = VA_INVALID_ID;
};

}  // namespace kvmon
