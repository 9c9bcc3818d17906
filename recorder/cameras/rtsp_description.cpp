#include "cameras/rtsp_description.h"

#include <algorithm>
#include <optional>

#include "cameras/rtsp_words.h"

namespace kvrecorder {
namespace {

using rtsp::Cut;
using rtsp::ReadNumber;
using rtsp::Trim;
using Way = RtspMedia::Way;

constexpr std::size_t kMostMedia = 32;
constexpr std::size_t kMostFormats = 32;
constexpr std::size_t kLongestControl = 2048;
constexpr int kPayloads = 128;
constexpr int kLargestSide = 0xFFFF;

// What a payload of such a number is where nothing tells it.
void SetStatic(RtspFormat& format) {
    switch (format.payload) {
        case 0:
        case 8:
            format.coding = format.payload == 0 ? "PCMU" : "PCMA";
            format.clock = 8'000;
            break;
        case 2:
            format.coding = "G726-32";
            format.clock = 8'000;
            break;
        case 10:
        case 11:
            format.coding = "L16";
            format.clock = 44'100;
            format.channels = format.payload == 10 ? 2 : 1;
            break;
        case 14:
        case 26:
            format.coding = format.payload == 14 ? "MPA" : "JPEG";
            format.clock = 90'000;
            break;
        default:
            break;
    }
}

// May stand in a line of ours.
bool IsPlain(std::string_view address) {
    return std::none_of(address.begin(), address.end(),
                        [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == 127; });
}

std::string ReadControl(std::string_view text) {
    text = Trim(text);
    const std::string_view control = Cut(text, ' ');
    return control.size() <= kLongestControl && IsPlain(control) ? std::string(control) : std::string();
}

// Nothing for other lines. Ways are told from the listener's side, who would be the one that sends.
std::optional<Way> WayOf(std::string_view name) {
    if (name == "sendonly") {
        return Way::ToCamera;
    }
    const bool isWay = name == "recvonly" || name == "sendrecv" || name == "inactive";
    return isWay ? std::optional(Way::FromCamera) : std::nullopt;
}

RtspMedia ReadMedia(std::string_view line) {
    RtspMedia media;
    const std::string_view kind = Cut(line, ' ');
    media.isVideo = kind == "video";
    media.isSound = kind == "audio";
    Cut(line, ' ');  // the port
    Cut(line, ' ');  // the profile
    while (!line.empty() && media.formats.size() < kMostFormats) {
        RtspFormat format;
        format.payload = ReadNumber(Cut(line, ' '));
        if (format.payload >= 0 && format.payload < kPayloads) {
            SetStatic(format);
            media.formats.push_back(std::move(format));
        }
    }
    return media;
}

void ReadCoding(std::string_view text, RtspFormat& format) {
    text = Trim(text);
    format.coding = Cut(text, '/');
    std::transform(format.coding.begin(), format.coding.end(), format.coding.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    format.clock = ReadNumber(Cut(text, '/'));
    format.channels = text.empty() ? 1 : ReadNumber(text);
}

// "1920,1080", or "96 1920-1080" with the payload's number before it. Those that no picture has are not told.
void ReadSize(std::string_view text, char between, RtspMedia& media) {
    text = Trim(text);
    const int width = ReadNumber(Trim(Cut(text, between)));
    const int height = ReadNumber(Trim(text));
    const bool fits = width > 0 && width <= kLargestSide && height > 0 && height <= kLargestSide;
    media.width = fits ? width : 0;
    media.height = fits ? height : 0;
}

void ReadAttribute(std::string_view text, RtspMedia& media) {
    const std::string_view name = Cut(text, ':');
    if (const auto way = WayOf(name)) {
        media.way = *way;
    } else if (name == "control") {
        media.control = ReadControl(text);
    } else if (name == "x-dimensions") {
        ReadSize(text, ',', media);
    } else if (name == "framesize") {
        text = Trim(text);
        Cut(text, ' ');
        ReadSize(text, '-', media);
    } else if (name == "rtpmap" || name == "fmtp") {
        text = Trim(text);
        const int payload = ReadNumber(Cut(text, ' '));
        const auto format = std::find_if(media.formats.begin(), media.formats.end(),
                                         [payload](const RtspFormat& one) { return one.payload == payload; });
        if (format == media.formats.end()) {
            return;
        }
        if (name == "rtpmap") {
            ReadCoding(text, *format);
            return;
        }
        while (!text.empty()) {
            std::string_view value = Cut(text, ';');
            const std::string_view key = Trim(Cut(value, '='));
            format->parameters.emplace_back(key, Trim(value));
        }
    }
}

// What is told of the session holds for the streams that do not tell it. A camera that sends its pictures
// "sendonly" tells all from its own side, and has no way back.
void SetWays(Way told, std::vector<RtspMedia>& media) {
    for (RtspMedia& one : media) {
        one.way = one.way == Way::Untold ? told : one.way;
    }
    const bool turned = std::any_of(media.begin(), media.end(), [](const RtspMedia& one) {
        return one.isVideo && one.way == Way::ToCamera;
    });
    for (RtspMedia& one : media) {
        one.way = turned ? Way::FromCamera : one.way;
    }
}

}  // namespace

std::string_view RtspFormat::Parameter(std::string_view name) const {
    const auto found = std::find_if(parameters.begin(), parameters.end(),
                                    [&](const auto& one) { return rtsp::IsName(one.first, name); });
    return found != parameters.end() ? std::string_view(found->second) : std::string_view();
}

const RtspFormat& RtspMedia::Format() const {
    static const RtspFormat none;
    return formats.empty() ? none : formats.front();
}

RtspDescription ReadRtspDescription(std::string_view text) {
    RtspMedia session;
    RtspDescription description;
    while (!text.empty()) {
        std::string_view line = Trim(Cut(text, '\n'));
        if (line.starts_with("m=")) {
            if (description.media.size() == kMostMedia) {
                break;
            }
            description.media.push_back(ReadMedia(line.substr(2)));
        } else if (line.starts_with("a=")) {
            ReadAttribute(line.substr(2), description.media.empty() ? session : description.media.back());
        }
    }
    description.control = std::move(session.control);
    SetWays(session.way, description.media);
    return description;
}

std::string BaseOfControls(const RtspHead& reply, const std::string& url) {
    for (const char* const name : {"Content-Base", "Content-Location"}) {
        const std::string_view told = reply.Field(name);
        if (told.starts_with("rtsp") && IsPlain(told)) {
            return std::string(told);
        }
    }
    return url;
}

std::string JoinRtspUrl(std::string_view base, std::string_view control) {
    if (control.empty() || control == "*") {
        return std::string(base);
    }
    if (control.find("://") != std::string_view::npos) {
        return std::string(control);
    }
    return std::string(base) + (base.ends_with('/') || control.starts_with('/') ? "" : "/") +
           std::string(control);
}

}  // namespace kvrecorder
