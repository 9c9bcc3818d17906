// What a camera tells of its streams before they are opened.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cameras/rtsp_head.h"

namespace kvrecorder {

// One of the forms that a stream may have.
struct RtspFormat {
    int payload = -1;    // its number in the packets
    std::string coding;  // in capital letters: "H264"
    int clock = 0;
    int channels = 1;
    std::vector<std::pair<std::string, std::string>> parameters;

    // Empty: there is none.
    std::string_view Parameter(std::string_view name) const;
};

// One kind of media of a session.
struct RtspMedia {
    enum class Way { Untold, FromCamera, ToCamera };

    bool isVideo = false;
    bool isSound = false;
    std::vector<RtspFormat> formats;
    std::string control;  // as it is told: an address, or the end of one
    Way way = Way::Untold;
    // Of pictures; 0: not told.
    int width = 0;
    int height = 0;

    bool IsFromCamera() const { return way != Way::ToCamera; }
    // The one that the camera likes best.
    const RtspFormat& Format() const;
};
struct RtspDescription {
    std::string control;  // of all streams together; empty: not told
    std::vector<RtspMedia> media;
};
// Damaged lines are passed over.
RtspDescription ReadRtspDescription(std::string_view text);

// The address that what a reply tells of the streams stands below; `url` if it names none.
std::string BaseOfControls(const RtspHead& reply, const std::string& url);
// Where a control stands whose address may be a part.
std::string JoinRtspUrl(std::string_view base, std::string_view control);

}  // namespace kvrecorder
