#include "cameras/camera_url.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <utility>

#include "cameras/camera_error.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kLongest = 1024;
constexpr std::array<std::string_view, 6> kSchemes = {"rtsp", "rtsps", "http", "https", "onvif", "onvifs"};
constexpr const char* kSchemesInWords =
    "rtsp://, rtsps://, http://, https://, onvif://, onvifs://, usb:/dev/";
constexpr std::string_view kMark = "://";
constexpr int kHighestPort = 65535;

[[noreturn]] void Fail(Fault fault) {
    throw CameraError(std::move(fault));
}

int HexOf(char c) {
    const auto lower = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower >= '0' && lower <= '9' ? lower - '0' : lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// "%40" is "@"; a "%" of any other kind stands for itself, as people type passwords.
std::string Decode(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && HexOf(text[i + 1]) >= 0 && HexOf(text[i + 2]) >= 0) {
            out += static_cast<char>(HexOf(text[i + 1]) * 16 + HexOf(text[i + 2]));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

void AppendEncoded(std::string& out, std::string_view text) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalnum(byte) != 0 || c == '-' || c == '_' || c == '.' || c == '~') {
            AppendSecret(out, {&c, 1});
        } else {
            const char code[] = {'%', kDigits[byte >> 4], kDigits[byte & 15]};
            AppendSecret(out, {code, sizeof code});
        }
    }
}

void CheckPort(std::string_view text) {
    unsigned port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || port < 1 ||
        port > kHighestPort) {
        Fail({FaultCode::AddressPort, {{"low", 1}, {"high", kHighestPort}}});
    }
}

// "host", "host:port", "[host]:port"; gives the host alone.
std::string CheckPlace(std::string_view place) {
    std::string_view host = place;
    std::size_t zone = std::string_view::npos;  // the name of an interface
    if (place.starts_with('[')) {
        const std::size_t end = place.find(']');
        if (end == std::string_view::npos) {
            Fail(FaultCode::AddressBracket);
        }
        host = place.substr(1, end - 1);
        zone = host.find("%25");
        place.remove_prefix(end + 1);
        if (!place.empty() && place[0] != ':') {
            Fail(FaultCode::AddressBracket);
        }
    } else {
        host = place.substr(0, place.find(':'));
        place.remove_prefix(host.size());
    }
    if (host.empty()) {
        Fail(FaultCode::AddressHost);
    }
    if (!place.empty()) {
        CheckPort(place.substr(1));
    }
    return zone == std::string_view::npos
               ? std::string(host)
               : std::string(host.substr(0, zone)) + "%" + std::string(host.substr(zone + 3));
}

// Nothing but the devices of cameras is opened by an address.
CameraUrl ReadDevice(std::string_view text) {
    const std::string_view path = text.substr(kUsbScheme.size());
    constexpr std::string_view kFolder = "/dev/v";
    if (!path.starts_with(kFolder) || path.ends_with('/') || path.find("..") != std::string_view::npos ||
        path.size() > kLongest ||
        std::any_of(path.begin(), path.end(), [](char c) { return static_cast<unsigned char>(c) <= ' '; })) {
        Fail(FaultCode::AddressDevice);
    }
    CameraUrl taken;
    taken.url = text;
    taken.host = path.substr(path.rfind('/') + 1);
    return taken;
}

}  // namespace

CameraUrl ReadCameraUrl(std::string_view text) {
    if (text.starts_with(kUsbScheme)) {
        return ReadDevice(text);
    }
    const std::size_t mark = text.find(kMark);
    if (mark == std::string_view::npos ||
        std::find(kSchemes.begin(), kSchemes.end(), text.substr(0, mark)) == kSchemes.end()) {
        Fail({FaultCode::AddressScheme, {{"schemes", kSchemesInWords}}});
    }
    if (text.size() > kLongest) {
        Fail({FaultCode::AddressTooLong, {{"limit", kLongest}}});
    }
    if (std::any_of(text.begin(), text.end(),
                    [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == 127; })) {
        Fail(FaultCode::AddressBlank);
    }
    const std::size_t begin = mark + kMark.size();
    // A password may hold a slash or an at sign: the login goes to the last at sign before the query.
    const std::size_t query = std::min(text.find('?', begin), text.size());
    const std::size_t slash = std::min(text.find('/', begin), query);
    const std::size_t plain = text.substr(0, slash).rfind('@');
    const std::size_t at =
        plain != std::string_view::npos && plain >= begin ? plain : text.substr(0, query).rfind('@');
    CameraUrl taken;
    std::size_t place = begin;
    // In "host/stream@2", "host:554/stream@2" and "[::1]/stream@2" the sign belongs to the path.
    const std::string_view first = text.substr(begin, slash - begin);
    const std::size_t bracket = first.starts_with('[') ? first.find(']') : std::string_view::npos;
    const std::size_t mid = first.find(':', bracket == std::string_view::npos ? 0 : bracket);
    const bool isPort = mid != std::string_view::npos && mid + 1 < first.size() &&
                        first.find_first_not_of("0123456789", mid + 1) == std::string_view::npos;
    const bool inLogin = at != std::string_view::npos && at >= begin &&
                         (at < slash || (mid != std::string_view::npos && !isPort));
    if (inLogin) {
        const std::string_view login = text.substr(begin, at - begin);
        const std::size_t colon = login.find(':');
        taken.user = Decode(login.substr(0, colon));
        taken.saysPassword = colon != std::string_view::npos;
        if (taken.saysPassword) {
            std::string password = Decode(login.substr(colon + 1));
            taken.password = Secret(password);
            Wipe(password);
        }
        place = at + 1;
    }
    const std::size_t end = std::min(text.find_first_of("/?", place), text.size());
    taken.host = CheckPlace(text.substr(place, end - place));
    taken.url = std::string(text.substr(0, begin)) + std::string(text.substr(place));
    return taken;
}

CameraUrl TakeCameraUrl(std::string& text) {
    struct Wiped {
        std::string& text;
        ~Wiped() { Wipe(text); }
    } const wiped{text};
    return ReadCameraUrl(text);
}

bool IsDeviceUrl(std::string_view url) {
    return url.starts_with("onvif://") || url.starts_with("onvifs://");
}

bool IsEncryptedUrl(std::string_view url) {
    return url.starts_with("rtsps://") || url.starts_with("https://") || url.starts_with("onvifs://");
}

Secret JoinLogin(std::string_view url, std::string_view user, std::string_view password) {
    const std::size_t begin = url.find(kMark) + kMark.size();
    std::string joined(url.substr(0, begin));
    if (!user.empty()) {
        AppendEncoded(joined, user);
        AppendSecret(joined, ":");
        AppendEncoded(joined, password);
        AppendSecret(joined, "@");
    }
    AppendSecret(joined, url.substr(begin));
    Secret whole(joined);
    Wipe(joined);
    return whole;
}

}  // namespace kvrecorder
