#include "cameras/sdp_offer.h"

#include <algorithm>
#include <array>

namespace kvrecorder {
namespace {

constexpr int kSpeechRate = 8'000;

bool CanBeTaken(const RtspFormat& format) {
    constexpr std::array<std::string_view, 6> kTaken = {"PCMU",      "PCMA", "MPEG4-GENERIC",
                                                        "MP4A-LATM", "L16",  "MPA"};
    return format.coding.starts_with("G726-") || format.coding.starts_with("AAL2-G726-") ||
           std::find(kTaken.begin(), kTaken.end(), format.coding) != kTaken.end();
}

}  // namespace

bool OffersSound(const RtspDescription& description) {
    return std::any_of(description.media.begin(), description.media.end(), [](const RtspMedia& media) {
        return media.isSound && media.IsFromCamera() &&
               std::any_of(media.formats.begin(), media.formats.end(), CanBeTaken);
    });
}

std::optional<SpeechStream> FindSpeech(const RtspDescription& description) {
    for (const RtspMedia& media : description.media) {
        if (!media.isSound || media.IsFromCamera()) {
            continue;
        }
        for (const RtspFormat& format : media.formats) {
            if ((format.coding == "PCMU" || format.coding == "PCMA") && format.clock == kSpeechRate &&
                format.channels == 1) {
                return SpeechStream{media.control, format.payload, format.coding == "PCMA"};
            }
        }
    }
    return std::nullopt;
}

}  // namespace kvrecorder
