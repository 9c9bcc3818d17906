#include "cameras/sdp_offer.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <map>
#include <vector>

namespace kvrecorder {
namespace {

constexpr std::size_t kMostSections = 32;
constexpr std::size_t kMostFormats = 32;
constexpr std::size_t kMostControl = 1024;

// From the camera's listener's side, as the standard of such cameras has it.
enum class Way { Untold, FromCamera, ToCamera };

struct Section {
    std::string kind;
    std::vector<int> payloads;
    std::map<int, std::string> codings;  // "PCMU/8000" by its number
    std::string control;
    Way way = Way::Untold;
};

std::string Upper(std::string_view text) {
    std::string upper(text);
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return upper;
}

std::string_view TakeWord(std::string_view& rest) {
    const std::size_t begin = std::min(rest.find_first_not_of(' '), rest.size());
    const std::size_t end = std::min(rest.find(' ', begin), rest.size());
    const std::string_view word = rest.substr(begin, end - begin);
    rest.remove_prefix(end);
    return word;
}

// -1 for what is none.
int PayloadOf(std::string_view word) {
    int number = -1;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    return error == std::errc() && end == word.data() + word.size() && number >= 0 && number < 128 ? number
                                                                                                   : -1;
}

Section ReadMediaLine(std::string_view line) {
    Section section;
    section.kind = TakeWord(line);
    TakeWord(line);  // the port
    TakeWord(line);  // the transport
    while (!line.empty() && section.payloads.size() < kMostFormats) {
        if (const int payload = PayloadOf(TakeWord(line)); payload >= 0) {
            section.payloads.push_back(payload);
        }
    }
    return section;
}

bool IsPlain(std::string_view control) {
    return control.size() <= kMostControl && std::none_of(control.begin(), control.end(), [](char c) {
               return static_cast<unsigned char>(c) <= ' ' || c == 127;
           });
}

void ReadAttribute(std::string_view text, Section& section) {
    if (text == "sendonly") {
        section.way = Way::ToCamera;
    } else if (text == "recvonly" || text == "sendrecv" || text == "inactive") {
        section.way = Way::FromCamera;
    } else if (text.starts_with("control:")) {
        text.remove_prefix(8);
        const std::string_view control = TakeWord(text);
        section.control = IsPlain(control) ? control : "";
    } else if (text.starts_with("rtpmap:")) {
        text.remove_prefix(7);
        if (const int payload = PayloadOf(TakeWord(text));
            payload >= 0 && section.codings.size() < kMostFormats) {
            section.codings[payload] = Upper(TakeWord(text));
        }
    }
}

// What a number stands for where the camera does not say it.
std::string CodingOf(const Section& section, int payload) {
    if (const auto told = section.codings.find(payload); told != section.codings.end()) {
        return told->second;
    }
    switch (payload) {
        case 0:
            return "PCMU/8000";
        case 2:
            return "G726-32/8000";
        case 8:
            return "PCMA/8000";
        case 10:
        case 11:
            return "L16/44100";
        case 14:
            return "MPA/90000";
        default:
            return "";
    }
}

bool CanBeTaken(const Section& section) {
    constexpr std::array<std::string_view, 8> kTaken = {"PCMU/",          "PCMA/",      "G726-", "AAL2-G726-",
                                                        "MPEG4-GENERIC/", "MP4A-LATM/", "L16/",  "MPA/"};
    return std::any_of(section.payloads.begin(), section.payloads.end(), [&](int payload) {
        const std::string coding = CodingOf(section, payload);
        return std::any_of(kTaken.begin(), kTaken.end(),
                           [&](std::string_view name) { return coding.starts_with(name); });
    });
}

std::optional<SpeechStream> SpeechOf(const Section& section) {
    for (const int payload : section.payloads) {
        const std::string coding = CodingOf(section, payload);
        for (const std::string name : {"PCMU/8000", "PCMA/8000"}) {
            if (coding == name || coding == name + "/1") {
                return SpeechStream{section.control, payload, name[3] == 'A'};
            }
        }
    }
    return std::nullopt;
}

}  // namespace

SdpOffer ReadSdp(std::string_view text) {
    Section session;
    std::vector<Section> sections;
    while (!text.empty() && sections.size() < kMostSections) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        if (line.starts_with("m=")) {
            sections.push_back(ReadMediaLine(line.substr(2)));
        } else if (line.starts_with("a=")) {
            ReadAttribute(line.substr(2), sections.empty() ? session : sections.back());
        }
    }
    // A camera that sends its pictures "sendonly" tells all from its own side, and has no way back.
    const bool turned = std::any_of(sections.begin(), sections.end(), [](const Section& section) {
        return section.kind == "video" && section.way == Way::ToCamera;
    });
    SdpOffer offer;
    offer.control = session.control;
    for (const Section& section : sections) {
        if (section.kind != "audio") {
            continue;
        }
        const Way way = section.way == Way::Untold ? session.way : section.way;
        if (way != Way::ToCamera || turned) {
            offer.sound = offer.sound || CanBeTaken(section);
        } else if (!offer.speech) {
            offer.speech = SpeechOf(section);
        }
    }
    return offer;
}

std::string JoinControl(const std::string& base, const std::string& control) {
    if (control.empty() || control == "*") {
        return base;
    }
    if (control.find("://") != std::string::npos) {
        return control;
    }
    return base + (base.ends_with('/') || control.starts_with('/') ? "" : "/") + control;
}

}  // namespace kvrecorder
