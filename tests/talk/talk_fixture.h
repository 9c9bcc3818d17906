// A recorder whose first channel is a camera that is talked to, and what is said.
#pragma once

#include <gmock/gmock.h>

#include <cmath>
#include <cstdint>
#include <numbers>
#include <string>
#include <vector>

#include "media/sound_coder.h"
#include "onvif/onvif_control.h"
#include "scripted_rtsp.h"
#include "service_fixture.h"

namespace kvtest {

using std::chrono::milliseconds;
using Samples = std::vector<std::int16_t>;

inline constexpr int kRate = 8000;
inline constexpr const char* kTalk = "/cgi-bin/putaudiostream.cgi?ch=0 ";

// What cameras tell of themselves.
inline const std::string kPictures =
    "v=0\r\nm=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\na=recvonly\r\n";
inline const std::string kSound = "m=audio 0 RTP/AVP 8\r\na=recvonly\r\n";
inline const std::string kEar =
    "m=audio 0 RTP/AVP 97 0\r\na=rtpmap:97 MPEG4-GENERIC/16000\r\na=control:back\r\na=sendonly\r\n";

inline Samples Tone(double hertz, std::size_t count) {
    Samples samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = static_cast<std::int16_t>(
            12000 * std::sin(2 * std::numbers::pi * hertz * static_cast<double>(i) / kRate));
    }
    return samples;
}

// As clients send it.
inline std::string Coded(const Samples& samples) {
    SoundConfig form;
    form.format = SoundFormat::G726;
    form.bits = 4;
    const auto bytes = CreateSoundEncoder(form)->Encode(samples);
    return {bytes.begin(), bytes.end()};
}

inline TalkTiming Quick() {
    TalkTiming timing;
    timing.open = milliseconds(2000);
    timing.rest = milliseconds(300);
    timing.camera.pauses.fill(milliseconds(20));
    return timing;
}

// Answers as it should, up to a request that it answers in another way.
inline ScriptedServer::Script TalkCamera(
    const std::string& description, const std::string& odd = "none",
    const std::function<void(Peer&, const std::string& request)>& oddly = {}) {
    return [=](Peer& peer) {
        ServeRtsp(peer, description, {}, [&](Peer& camera, const std::string& request) {
            const bool isOdd = request.starts_with(odd + " ");
            if (isOdd) {
                oddly(camera, request);
            }
            return isOdd;
        });
    };
}

inline std::string UrlOf(const ScriptedServer& server) {
    return "rtsp://127.0.0.1:" + std::to_string(server.Port()) + "/yard";
}

class CameraTalkTest : public ServiceTest {
protected:
    void Serve(const std::string& url, const TalkTiming& timing = Quick()) {
        model.reset();
        model = std::make_shared<RecorderModel>(hub, nullptr,
                                                CreateCameraTalkMaker(timing, CreateOnvifStreamFinder()));
        config.channels[0].audio.reset();
        NetworkCamera& camera = config.channels[0].source.network;
        camera.url = url;
        camera.user = "guard";
        camera.password = "sesame";
        Start();
    }
    bool TakesTalk() {
        return Ask("/cgi-bin/zcapabilities.cgi?group=Camera")
                   .body.find("<ch0><audio_out>1</audio_out><audio_out_type>1<") != std::string::npos;
    }
    bool HasSound() {
        return Ask("/cgi-bin/param.cgi?action=list&group=Recording.MediaProperty&channel_id=0")
                   .body.find("audio_enabled") != std::string::npos;
    }
    std::vector<std::string> Log() {
        std::vector<std::string> lines;
        for (const Event& event : model->Events().Latest(std::chrono::hours(1))) {
            lines.push_back(event.text);
        }
        return lines;
    }
};

}  // namespace kvtest
