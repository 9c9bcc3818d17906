// The way back to a camera: what is said to it goes to its loudspeaker.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "cameras/camera_offer.h"
#include "cameras/datagram_pair.h"
#include "cameras/rtsp_link.h"
#include "cameras/sdp_offer.h"
#include "media/sound_source.h"

namespace kvrecorder {

// What is told of a camera that takes no speech.
inline constexpr const char* kPlaysNothing = "the camera plays nothing that is said to it";

// What the camera at the address has. Waits for it until the told time; CameraError.
CameraOffer AskOffer(const NetworkCamera& camera, const std::string& url, const std::function<bool()>& ended,
                     std::chrono::steady_clock::time_point until);

// One session, in which nothing but speech goes to the camera. One thread.
class BackChannel {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    // Opens it. Throws CameraError.
    BackChannel(const NetworkCamera& camera, const std::string& url, const std::function<bool()>& ended,
                TimePoint until);
    // Tells the camera.
    ~BackChannel();
    BackChannel(const BackChannel&) = delete;
    BackChannel& operator=(const BackChannel&) = delete;

    // G.711 of 8000 samples a second.
    SoundFormat Format() const { return m_speech.aLaw ? SoundFormat::ALaw : SoundFormat::MuLaw; }
    // Of all that was sent the samples that may not have come to the camera yet.
    std::size_t Outstanding() const;
    // Sends a packet without waiting; false while the camera takes none. `stamp` counts samples, `begins`
    // says that silence stood before it.
    bool Send(std::span<const std::uint8_t> coded, std::uint32_t stamp, bool begins);
    // To be called now and then: keeps the session alive. Throws CameraError when it has ended.
    void Keep();

private:
    void Close(TimePoint until);
    RtspReply Open(bool datagrams, const std::string& pictures, TimePoint until);
    RtspReply OpenBy(bool datagrams, const std::string& pictures, TimePoint until);
    RtspReply SetUp(const std::string& control, int channel, std::optional<DatagramPair>* datagrams,
                    TimePoint until);
    std::string SessionLine() const;

    RtspLink m_link;
    const std::string m_url;
    std::string m_base;
    SpeechStream m_speech;
    std::string m_session;
    std::chrono::seconds m_alive{60};         // for so long without a word
    TimePoint m_said;                         // the last word
    int m_channel = 0;                        // of the packets within the connection
    std::optional<DatagramPair> m_datagrams;  // where they go beside it
    std::optional<DatagramPair> m_unseen;     // where pictures come that nobody reads
    std::uint16_t m_number = 0;
    const std::uint32_t m_source;
    const std::uint32_t m_firstStamp;
};

}  // namespace kvrecorder
