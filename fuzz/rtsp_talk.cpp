// What a camera sends on the connection by which it is talked to: answers, and what they tell of its streams.
#include "cameras/camera_error.h"
#include "cameras/rtsp_reply.h"
#include "cameras/sdp_offer.h"
#include "fuzz_input.h"

namespace {

using namespace kvrecorder;
using kvfuzz::Check;

// A line of ours that goes to the camera stays one line.
void CheckLine(std::string_view line) {
    Check(line.find_first_of("\r\n") == std::string_view::npos);
}

void TakeOffer(std::string_view text) {
    const RtspDescription description = ReadRtspDescription(text);
    OffersSound(description);
    CheckLine(JoinRtspUrl("rtsp://camera/a", description.control));
    if (const auto speech = FindSpeech(description)) {
        Check(speech->payload >= 0 && speech->payload < 128);
        CheckLine(JoinRtspUrl("rtsp://camera/a/", speech->control));
    }
}

void TakeReply(const RtspReply& reply) {
    Check(reply.head.status >= 100 && reply.head.status <= 999 && reply.body.size() <= kMostRtspBody);
    CheckLine(FirstPart(reply.head.Field("Session")));
    CheckLine(BaseOfControls(reply.head, "rtsp://camera/a"));
    Check(NumberOfPart(reply.head.Field("Transport"), "interleaved").value_or(0) >= 0);
    TakeOffer(reply.body);
    for (const auto& [name, value] : reply.head.fields) {
        CheckLine(name);
        CheckLine(value);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    RtspReplies whole;
    RtspReplies pieces;
    std::size_t answers = 0;
    try {
        whole.Add(bytes);
        while (const auto reply = whole.Next()) {
            TakeReply(*reply);
            ++answers;
        }
        // The same in pieces.
        for (std::size_t at = 0; at < bytes.size(); at += 7) {
            pieces.Add(std::string_view(bytes).substr(at, 7));
            while (pieces.Next()) {
                --answers;
            }
        }
        Check(answers == 0);
    } catch (const CameraError&) {
        // No answer of any camera.
    }
    TakeOffer(bytes);
    return 0;
}
