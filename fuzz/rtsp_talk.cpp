// What a camera sends on the connection by which it is talked to: answers, what they tell of its streams, and
// what login it asks for.
#include "cameras/rtsp_login.h"
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

void TakeReply(const RtspReply& reply) {
    Check(reply.status >= -1 && reply.status <= 999 && reply.body.size() <= RtspReplies::kMostBody);
    CheckLine(FirstPart(reply.Header("session")));
    const SdpOffer offer = ReadSdp(reply.body);
    CheckLine(JoinControl("rtsp://camera/a", offer.control));
    if (offer.speech) {
        Check(offer.speech->payload >= 0 && offer.speech->payload < 128);
        CheckLine(JoinControl("rtsp://camera/a/", offer.speech->control));
    }
    std::vector<std::string> challenges;
    for (const auto& [name, value] : reply.headers) {
        CheckLine(name);
        CheckLine(value);
        challenges.push_back(value);
    }
    // No challenge has such a word in it.
    const std::string password = "sesame\t";
    RtspLogin login("guard", password);
    if (login.Take(challenges)) {
        const Secret line = login.Line("SETUP", "rtsp://camera/a");
        Check(line.View().ends_with("\r\n"));
        CheckLine(line.View().substr(0, line.View().size() - 2));
        Check(line.View().find(password) == std::string_view::npos);
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
    ReadSdp(bytes);
    return 0;
}
