#include "channel/stream/multipart_camera.h"

#include <cstdio>
#include <random>
#include <string>

#include "channel/source/target_settings.h"
#include "channel/stream/digest_login.h"
#include "platform/text.h"
#include "server/documents/camera_settings.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kVendorGeneric = 0;
constexpr std::string_view kPlainScheme = "http://";

// The path of a whole address, or of one that is told without its host.
std::string PathOf(std::string_view url) {
    if (url.starts_with(kPlainScheme)) {
        const std::size_t slash = url.find('/', kPlainScheme.size());
        url = slash == std::string_view::npos ? std::string_view() : url.substr(slash);
    }
    std::string path = url.starts_with('/') ? "" : "/";
    for (const char c : url) {
        const auto byte = static_cast<unsigned char>(c);
        path += byte <= ' ' || byte >= 0x7F ? FormatText("%%%02X", byte) : std::string(1, c);
    }
    return path;
}

std::string LoginLine(const TargetSettings& settings, const std::string& path) {
    if (settings.szUserName.IsEmpty()) {
        return {};
    }
    if (!settings.strChallenge.empty()) {
        std::random_device random;
        const std::string nonce = FormatText("%08x%08x", random(), random());
        const auto answer =
            AnswerDigestChallenge(settings.strChallenge,
                                  {"GET", path, settings.szUserName.View(), settings.szPasswd.View(), nonce});
        if (answer) {
            return "Authorization: " + *answer + "\r\n";
        }
    }
    return FormatText("Authorization: Basic %s\r\n", settings.szBase64Auth.c_str());
}

}  // namespace

bool MultipartCamera::Serves(const CameraSettings& settings) {
    return settings.m_dwVendorId == kVendorGeneric && !settings.m_lpszVideoURL.IsEmpty();
}

int MultipartCamera::GetVideoCmd(const TargetSettings& settings, std::int32_t nStreamId,
                                 std::span<char> request) const {
    if (!settings.bFromCamera) {
        return RecorderKind::GetVideoCmd(settings, nStreamId, request);
    }
    const std::string path = PathOf(settings.szVideoURL.View());
    return std::snprintf(request.data(), request.size(),
                         "GET %s HTTP/1.0\r\nHost: %s\r\nConnection: Keep-Alive\r\n%s\r\n", path.c_str(),
                         settings.szAddress.c_str(), LoginLine(settings, path).c_str());
}

}  // namespace kvmon
