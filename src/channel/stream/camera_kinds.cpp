#include "channel/stream/camera_kinds.h"

#include "channel/stream/multipart_camera.h"

namespace kvmon {

const CameraKind& KindFor(const CameraSettings& settings) {
    static const MultipartCamera multipart;
    return MultipartCamera::Serves(settings) ? multipart : BaseKind();
}

}  // namespace kvmon
