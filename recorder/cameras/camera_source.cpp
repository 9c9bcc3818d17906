#include "cameras/camera_source.h"

#include <algorithm>
#include <utility>

#include "cameras/camera_input.h"
#include "cameras/camera_session.h"
#include "cameras/camera_url.h"
#include "cameras/small_pictures.h"

namespace kvrecorder {
namespace {

// A camera that has nothing to say is looked after so often.
constexpr MediaTime kIdle{1'000'000};
constexpr std::size_t kMain = 0;
constexpr std::size_t kSmall = 1;

// With the login of the sub stream, where it has one of its own.
NetworkCamera SubCamera(NetworkCamera camera) {
    if (!camera.subUser.empty()) {
        camera.user = camera.subUser;
        camera.password = camera.subPassword;
    }
    return camera;
}

bool Same(const StreamDescription& a, const StreamDescription& b) {
    return a.codec == b.codec && a.width == b.width && a.height == b.height;
}

// Null for a camera whose addresses are told.
std::function<FoundStream(const std::function<bool()>&)> Finder(const NetworkCamera& camera, int stream,
                                                                const StreamFinder& finder) {
    if (!IsDeviceUrl(camera.url)) {
        return nullptr;
    }
    if (!finder) {
        throw std::runtime_error("cameras of ONVIF cannot be asked here");
    }
    return [camera, stream, finder](const std::function<bool()>& ended) {
        return finder(camera, stream, ended);
    };
}

// Stream 0 is the camera's main stream, stream 1 its sub stream or, if it has none, a small one made of the
// main one.
class CameraSource final : public PictureSource {
public:
    CameraSource(const NetworkCamera& camera, const CameraTiming& timing, std::function<void()> wake,
                 const std::shared_ptr<CameraThreads>& threads, const StreamFinder& finder)
        : m_main({camera, camera.url, timing, wake, Finder(camera, 0, finder)}, threads) {
        if (IsDeviceUrl(camera.url)) {
            m_sub = std::make_unique<CameraSession>(
                CameraSession::Setup{camera, camera.url, timing, std::move(wake), Finder(camera, 1, finder)},
                threads);
            m_streams[kSmall] = SmallPictures::Description();
            return;
        }
        ReadCameraUrl(camera.url);
        if (!camera.subUrl.empty()) {
            ReadCameraUrl(camera.subUrl);
            m_sub = std::make_unique<CameraSession>(
                CameraSession::Setup{SubCamera(camera), camera.subUrl, timing, std::move(wake)}, threads);
        } else {
            m_streams[kSmall] = SmallPictures::Description();
        }
    }

    std::vector<StreamDescription> Streams() const override { return {m_streams.begin(), m_streams.end()}; }

    MediaTime Run(const SourceRound& round, SourceOutput& output) override {
        const bool made = (!m_sub || m_noSub) && round.wanted[kSmall];
        m_trouble = {};
        m_again = kIdle;
        if (round.wanted[kMain] || round.soundWanted || made) {
            RunMain(round, made, output);
        } else {
            RestMain();
        }
        if (m_sub && !m_noSub && round.wanted[kSmall]) {
            m_sub->Want(false);
            const auto taken = m_sub->Take(!std::exchange(m_subWanted, true));
            if (taken.missing) {
                m_noSub = true;
                RestSub();
                return round.now;
            }
            Give(taken, kSmall, !taken.group.empty(), output);
        } else {
            RestSub();
        }
        return round.now + m_again;
    }

    void Sleep() override {
        RestMain();
        RestSub();
    }

    void End() override {
        m_main.End();
        if (m_sub) {
            m_sub->End();
        }
    }

    int MotionStream() const override { return static_cast<int>(m_sub ? kSmall : kMain); }
    Fault Trouble() const override { return m_trouble; }

private:
    void RunMain(const SourceRound& round, bool made, SourceOutput& output) {
        m_main.Want(round.soundWanted);
        const bool fresh = round.wanted[kMain] && !m_mainWanted;
        const bool begins = made && !m_small;
        const auto taken = m_main.Take(fresh || begins);
        m_mainWanted = round.wanted[kMain];
        if (m_mainWanted) {
            Give(taken, kMain, fresh && !taken.group.empty(), output);
        } else {
            Note(taken, kMain, output);
        }
        for (const PacketPtr& sound : taken.sounds) {
            if (round.soundWanted) {
                output.GiveSound(sound);
            }
        }
        if (!made) {
            m_small.reset();
            return;
        }
        if (!m_small) {
            m_small = std::make_unique<SmallPictures>();
        }
        const auto& pictures = begins && !taken.group.empty() ? taken.group : taken.pictures;
        for (PacketPtr& packet : m_small->Make(pictures)) {
            output.Give(kSmall, std::move(packet), PacketOrigin::Encoded);
        }
        if (const auto share = m_small->Cost()) {
            output.Tell("its small picture is made here, which takes " + std::to_string(*share) +
                        " % of a processor; a sub stream of the camera would take nothing");
        }
    }

    void Give(const CameraSession::Taken& taken, std::size_t stream, bool group, SourceOutput& output) {
        Note(taken, stream, output);
        for (const PacketPtr& packet : group ? taken.group : taken.pictures) {
            output.Give(static_cast<int>(stream), packet, PacketOrigin::PassedOn);
        }
    }

    // Takes over what is told beside the pictures.
    void Note(const CameraSession::Taken& taken, std::size_t stream, SourceOutput& output) {
        if (m_trouble.Empty() && !taken.trouble.Empty()) {
            m_trouble = taken.trouble;
            if (stream != kMain) {
                m_trouble.words.insert(0, "the sub stream: ");
                m_trouble.values.emplace_back("stream", "sub");
            }
        }
        for (const std::string& words : taken.words) {
            output.Tell(words);
        }
        if (taken.again) {
            m_again = std::min(m_again, *taken.again);
        }
        // Until its own pictures tell.
        if (taken.sub && !m_subSeen && !Same(m_streams[kSmall], *taken.sub)) {
            m_streams[kSmall] = *taken.sub;
            output.StreamsChanged();
        }
        m_subSeen = m_subSeen || (stream == kSmall && taken.description.width > 0);
        StreamDescription& known = m_streams[stream];
        if (taken.description.width > 0 && !Same(known, taken.description)) {
            known = taken.description;
            output.StreamsChanged();
            output.Tell(std::string(stream == kMain ? "pictures of " : "pictures of the sub stream of ") +
                        std::to_string(known.width) + "x" + std::to_string(known.height) + " in " +
                        NameOf(known.codec));
        }
    }

    void RestMain() {
        m_main.Rest();
        m_mainWanted = false;
        m_small.reset();
    }
    void RestSub() {
        if (m_sub) {
            m_sub->Rest();
            m_subWanted = false;
        }
    }

    CameraSession m_main;
    std::unique_ptr<CameraSession> m_sub;
    bool m_mainWanted = false;
    bool m_subWanted = false;
    bool m_noSub = false;    // the camera says that it has none
    bool m_subSeen = false;  // had pictures
    std::unique_ptr<SmallPictures> m_small;
    std::array<StreamDescription, 2> m_streams;
    Fault m_trouble;
    MediaTime m_again = kIdle;
};

}  // namespace

CameraSourceMaker CreateCameraSourceMaker(const CameraTiming& timing, StreamFinder finder) {
    return [timing, finder = std::move(finder), threads = std::make_shared<CameraThreads>()](
               const NetworkCamera& camera, std::function<void()> wake) {
        return std::make_unique<CameraSource>(camera, timing, std::move(wake), threads, finder);
    };
}

}  // namespace kvrecorder
