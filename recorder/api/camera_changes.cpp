#include "api/camera_changes.h"

#include <utility>

#include "api/api_error.h"
#include "api/camera_documents.h"
#include "cameras/camera_error.h"
#include "cameras/camera_url.h"
#include "cameras/certificate_word.h"
#include "state/text.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kMostAddress = 1024;
constexpr std::size_t kMostUser = 255;
constexpr std::size_t kMostCertificate = 128;

CameraUrl ReadAddress(const char* field, std::string text) {
    try {
        return TakeCameraUrl(text);
    } catch (const CameraError& failure) {
        throw ApiError(400, failure.Told(), field);
    }
}

std::string HostOf(const std::string& url) {
    try {
        return ReadCameraUrl(url).host;
    } catch (const std::runtime_error&) {
        return {};
    }
}

// Sets what the body says of a camera; true if it says anything. A password that is kept here goes to no
// other host than it was given for: it can be written, and not be read.
bool TakeCamera(JsonFields& body, NetworkCamera& camera, bool& newPassword) {
    const NetworkCamera before = camera;
    auto address = body.Text("address", kMostAddress);
    auto sub = body.Text("sub_address", kMostAddress);
    const auto user = body.Text("user", kMostUser);
    auto password = body.Password("password");
    const auto transport = body.Text("transport", 8);
    const auto certificate = body.Text("certificate", kMostCertificate);
    if (address) {
        CameraUrl taken = ReadAddress("address", std::move(*address));
        camera.url = std::move(taken.url);
        if (!taken.user.empty()) {
            camera.user = std::move(taken.user);
            camera.password = std::move(taken.password);
            newPassword = true;
        }
    }
    if (sub) {
        camera.subUrl = sub->empty() ? "" : ReadAddress("sub_address", std::move(*sub)).url;
    }
    if (user) {
        camera.user = *user;
    }
    if (password) {
        camera.password = std::move(*password);
        newPassword = true;
    }
    if (transport && transport != "tcp" && transport != "udp") {
        throw ApiError(400, {FaultCode::ChoiceWrong, {{"choices", "tcp, udp"}}}, "transport");
    }
    if (transport) {
        camera.overUdp = transport == "udp";
    }
    if (certificate) {
        try {
            camera.certificate = ReadCertificateWord(*certificate);
        } catch (const CameraError& failure) {
            throw ApiError(400, failure.Told(), "certificate");
        }
    }
    if (!newPassword && !before.password.Empty()) {
        const std::string host = HostOf(before.url);
        if (HostOf(camera.url) != host ||
            (!camera.subUrl.empty() && HostOf(camera.subUrl) != host && camera.subUrl != before.subUrl)) {
            throw ApiError(400, FaultCode::PasswordWanted, "password");
        }
    }
    return address || sub || user || newPassword || transport || certificate;
}

SourceText ToText(const NetworkCamera& camera, bool newPassword) {
    return {camera.url,  camera.subUrl,     camera.user, camera.password, camera.overUdp ? "udp" : "",
            newPassword, camera.certificate};
}

void CheckName(const std::string& name) {
    if (name.empty()) {
        throw ApiError(400, FaultCode::NameWanted, "name");
    }
}

}  // namespace

Fault CameraChanges::Obstacle() const {
    return m_changes ? m_changes->Obstacle() : FaultCode::NoConfigFile;
}

std::string CameraChanges::Make(std::string_view revision,
                                const std::function<void(ConfigText& text)>& edit) const {
    if (const Fault obstacle = Obstacle(); !obstacle.Empty()) {
        throw ApiError(409, obstacle);
    }
    return m_changes->Change([&](ConfigText& text) {
        if (!revision.empty() && revision != RevisionOf(*m_model.Current())) {
            throw ApiError(409, FaultCode::CamerasChanged);
        }
        try {
            edit(text);
        } catch (const ConfigError& failure) {
            throw ApiError(409, failure.Told());
        }
    });
}

std::string CameraChanges::Add(JsonFields& body, int& added) const {
    const std::string name = body.Text("name", kMaxNameBytes).value_or("");
    NetworkCamera camera;
    bool newPassword = false;
    TakeCamera(body, camera, newPassword);
    body.Finish();
    CheckName(name);
    if (camera.url.empty()) {
        throw ApiError(400, FaultCode::AddressWanted, "address");
    }
    return Make({}, [&](ConfigText& text) { added = text.Add(name, ToText(camera, true)); });
}

std::string CameraChanges::Change(int channel, JsonFields& body) const {
    const std::string revision = body.Text("revision", 32).value_or("");
    const auto name = body.Text("name", kMaxNameBytes);
    if (name) {
        CheckName(*name);
    }
    const auto change = [&](const NetworkCamera& present, ConfigText* text) {
        NetworkCamera camera = present;
        bool newPassword = false;
        if (!TakeCamera(body, camera, newPassword)) {
            return;
        }
        if (present.url.empty()) {
            throw ApiError(409, FaultCode::NoAddress, "address");
        }
        if (text) {
            text->SetSource(channel, ToText(camera, newPassword));
        }
    };
    // Once before the file is touched, so that all that is wrong is told first.
    change(m_model.Current()->channels[static_cast<std::size_t>(channel)].config.source.network, nullptr);
    body.Finish();
    return Make(revision, [&](ConfigText& text) {
        const SnapshotPtr state = m_model.Current();
        const Channel* const found = state->Configured(channel);
        if (!found) {
            throw ApiError(409, FaultCode::CamerasChanged);
        }
        change(found->config.source.network, &text);
        if (name) {
            text.Rename(channel, *name);
        }
    });
}

std::string CameraChanges::Move(int channel, JsonFields& body, int& to) const {
    const std::string revision = body.Text("revision", 32).value_or("");
    const int last = static_cast<int>(m_model.Current()->channels.size()) - 1;
    const auto wanted = body.Number("to", 0, last);
    body.Finish();
    if (!wanted) {
        throw ApiError(400, FaultCode::PlaceWanted, "to");
    }
    to = *wanted;
    return Make(revision, [&](ConfigText& text) { text.Move(channel, to); });
}

std::string CameraChanges::Remove(int channel, std::string_view revision) const {
    return Make(revision, [&](ConfigText& text) { text.Remove(channel); });
}

NetworkCamera CameraChanges::ForTest(JsonFields& body) const {
    NetworkCamera camera;
    if (const auto channel = body.Number("channel", 0, kMaxChannels - 1)) {
        const SnapshotPtr state = m_model.Current();
        const Channel* const found = state->Configured(*channel);
        if (!found || found->config.source.network.url.empty()) {
            throw ApiError(404, FaultCode::CameraMissing, "channel");
        }
        camera = found->config.source.network;
    }
    bool newPassword = false;
    TakeCamera(body, camera, newPassword);
    body.Finish();
    if (camera.url.empty()) {
        throw ApiError(400, FaultCode::AddressWanted, "address");
    }
    return camera;
}

}  // namespace kvrecorder
