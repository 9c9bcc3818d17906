#include "onvif/onvif_replies.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <sstream>
#include <string_view>
#include <utility>

#include "media/utf8.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kMostProfiles = 64;
constexpr std::size_t kMostPresets = 512;
constexpr std::size_t kMostScopes = 64;
constexpr int kLargestSide = 32768;
constexpr std::size_t kLongestWord = 64;

int SideOf(const std::string& text) {
    const auto number = NumberOf(text);
    return number && *number >= 1 && *number <= kLargestSide ? static_cast<int>(*number) : 0;
}

std::optional<int> PartOf(const SoapNode& node, const char* name) {
    const auto number = NumberOf(TextOf(Child(node, name)));
    return number && *number >= 0 && *number < 10'000 ? std::optional(static_cast<int>(*number))
                                                      : std::nullopt;
}

Range ReadRange(const SoapNode& node, Range range) {
    const auto low = NumberOf(TextOf(Child(node, "Min")));
    const auto high = NumberOf(TextOf(Child(node, "Max")));
    if (low && high && *low < *high) {
        range = {*low, *high};
    }
    return range;
}

PtzSpace ReadSpace(const SoapNode& node) {
    return {TextOf(Child(node, "URI")), ReadRange(Child(node, "XRange"), {}),
            ReadRange(Child(node, "YRange"), {})};
}

// The one of no special units before others, as the positions that are told are in its units mostly.
std::optional<PtzSpace> ChooseSpace(const SoapNode& spaces, const char* name) {
    std::optional<PtzSpace> chosen;
    for (const SoapNode& node : Children(spaces, name)) {
        PtzSpace space = ReadSpace(node);
        const bool inView = space.uri.find("Fov") != std::string::npos;
        const bool generic = space.uri.find("Generic") != std::string::npos;
        if (!inView && (!chosen || generic)) {
            chosen = std::move(space);
        }
    }
    return chosen;
}

std::optional<bool> MovingOf(const std::string& text) {
    if (text.empty() || text == "UNKNOWN") {
        return std::nullopt;
    }
    return text == "MOVING";
}

std::optional<PtzSpace> ReadLimits(const SoapNode& node) {
    return node ? std::optional(ReadSpace(Child(node, "Range"))) : std::nullopt;
}

OnvifProfile ReadProfile(const SoapNode& node) {
    OnvifProfile profile;
    profile.token = Attribute(node, "token");
    profile.name = PrintableUtf8(TextOf(Child(node, "Name")), kLongestWord);
    // The later service has the same below another node, and by shorter names.
    const SoapNode inner = Child(node, "Configurations");
    const auto part = [&](const char* longName, const char* shortName) {
        return inner ? Child(inner, shortName) : Child(node, longName);
    };
    const SoapNode source = part("VideoSourceConfiguration", "VideoSource");
    profile.source = TextOf(Child(source, "SourceToken"));
    profile.configuration = Attribute(source, "token");
    const SoapNode coder = part("VideoEncoderConfiguration", "VideoEncoder");
    if (coder) {
        profile.encoding = TextOf(Child(coder, "Encoding"));
        if (profile.encoding.empty()) {
            profile.encoding = "unknown";
        }
        const SoapNode size = Child(coder, "Resolution");
        profile.width = SideOf(TextOf(Child(size, "Width")));
        profile.height = SideOf(TextOf(Child(size, "Height")));
    }
    const SoapNode ptz = part("PTZConfiguration", "PTZ");
    if (ptz) {
        profile.ptzNode = TextOf(Child(ptz, "NodeToken"));
        profile.panTiltLimits = ReadLimits(Child(ptz, "PanTiltLimits"));
        profile.zoomLimits = ReadLimits(Child(ptz, "ZoomLimits"));
    }
    return profile;
}

// "PT60S", "PT1M", "P1DT2H": what else may stand there is left out.
std::optional<std::chrono::seconds> ReadDuration(std::string_view text) {
    if (!text.starts_with('P')) {
        return std::nullopt;
    }
    double seconds = 0;
    std::string number;
    bool time = false;
    for (const char c : text.substr(1)) {
        if ((c >= '0' && c <= '9') || c == '.') {
            number += c;
            continue;
        }
        const double value = NumberOf(number).value_or(0);
        number.clear();
        time = time || c == 'T';
        seconds += value * (c == 'D' ? 86400 : c == 'H' ? 3600 : c == 'M' && time ? 60 : c == 'S' ? 1 : 0);
    }
    return std::chrono::seconds(static_cast<int>(std::clamp(seconds, 0.0, 1e6)));
}

// Nothing for years that the clocks of this machine cannot count.
std::optional<std::chrono::system_clock::time_point> TimeOf(std::tm parts) {
    const bool good = parts.tm_year >= 70 && parts.tm_year <= 300 && parts.tm_mon >= 0 && parts.tm_mon < 12 &&
                      parts.tm_mday >= 0 && parts.tm_mday <= 31 && parts.tm_hour <= 24 &&
                      parts.tm_min <= 60 && parts.tm_sec <= 61;
    return good ? std::optional(std::chrono::system_clock::from_time_t(::timegm(&parts))) : std::nullopt;
}

std::optional<std::chrono::system_clock::time_point> ReadXmlTime(const std::string& text) {
    std::tm parts{};
    const char* const rest = ::strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
    if (!rest) {
        return std::nullopt;
    }
    return TimeOf(parts);
}

// What a subscription is told to be by beside its address: repeated with the names that it stands on.
std::string ReadParameters(const SoapNode& node) {
    constexpr std::size_t kMost = 4096;
    std::ostringstream text;
    for (SoapNode child = node.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_element) {
            continue;
        }
        pugi::xml_document copy;
        SoapNode top = copy.append_copy(child);
        for (SoapNode outer = node; outer; outer = outer.parent()) {
            for (const pugi::xml_attribute& attribute : outer.attributes()) {
                if (std::string_view(attribute.name()).starts_with("xmlns") &&
                    !top.attribute(attribute.name())) {
                    top.append_copy(attribute);
                }
            }
        }
        copy.print(text, "", pugi::format_raw | pugi::format_no_declaration);
    }
    const std::string all = text.str();
    return all.size() <= kMost ? all : "";
}

struct Topic {
    std::string_view part;  // of the topic's words
    OnvifEvent::Kind kind;
};
constexpr std::array<Topic, 9> kTopics = {{
    {"Tamper", OnvifEvent::Kind::Tampering},
    {"GlobalSceneChange", OnvifEvent::Kind::Tampering},
    {"ImageTooDark", OnvifEvent::Kind::Tampering},
    {"ImageTooBright", OnvifEvent::Kind::Tampering},
    {"ImageTooBlurry", OnvifEvent::Kind::Tampering},
    {"SignalLoss", OnvifEvent::Kind::SignalLost},
    {"VideoLoss", OnvifEvent::Kind::SignalLost},
    {"DigitalInput", OnvifEvent::Kind::Input},
    {"Motion", OnvifEvent::Kind::Motion},
}};

constexpr std::array<std::string_view, 7> kStateNames = {"IsMotion", "State", "LogicalState", "IsTamper",
                                                         "Motion",   "Alarm", "Value"};

std::optional<OnvifEvent> ReadEvent(const SoapNode& node) {
    const std::string topic = TextOf(Child(node, "Topic"));
    const auto known = std::find_if(kTopics.begin(), kTopics.end(), [&](const Topic& candidate) {
        return topic.find(candidate.part) != std::string::npos;
    });
    if (known == kTopics.end()) {
        return std::nullopt;
    }
    const SoapNode outer = Child(node, "Message");
    const SoapNode message = Child(outer, "Message");
    const SoapNode inner = message ? message : outer;
    OnvifEvent event;
    event.kind = known->kind;
    event.source = topic;
    for (const SoapNode& item : FindAll(Find(inner, "Source"), "SimpleItem")) {
        const std::string name = Attribute(item, "Name");
        const std::string value = Attribute(item, "Value");
        event.source.append("|").append(name).append("=").append(value);
        if (name.starts_with("VideoSource") || name == "Source") {
            event.video = value;
        }
    }
    event.source.resize(std::min<std::size_t>(event.source.size(), 512));
    const std::string operation = Attribute(inner, "PropertyOperation");
    event.passing = operation.empty();
    std::optional<bool> on;
    for (const SoapNode& item : FindAll(Find(inner, "Data"), "SimpleItem")) {
        const std::string name = Attribute(item, "Name");
        if (!on && std::find(kStateNames.begin(), kStateNames.end(), name) != kStateNames.end()) {
            on = IsTrue(Attribute(item, "Value"));
        }
    }
    if (operation == "Deleted") {
        on = false;
    }
    if (!on) {
        return std::nullopt;
    }
    event.on = *on;
    return event;
}

std::vector<std::string> SplitWords(const std::string& text, std::size_t most) {
    std::vector<std::string> words;
    std::istringstream stream(text);
    for (std::string word; words.size() < most && stream >> word;) {
        words.push_back(std::move(word));
    }
    return words;
}

}  // namespace

std::optional<std::chrono::system_clock::time_point> ReadClock(const SoapNode& body) {
    const SoapNode all = Find(body, "UTCDateTime");
    const SoapNode date = Child(all, "Date");
    const SoapNode time = Child(all, "Time");
    const auto year = PartOf(date, "Year");
    const auto month = PartOf(date, "Month");
    const auto day = PartOf(date, "Day");
    if (!year || !month || !day) {
        return std::nullopt;
    }
    std::tm parts{};
    parts.tm_year = *year - 1900;
    parts.tm_mon = *month - 1;
    parts.tm_mday = *day;
    parts.tm_hour = PartOf(time, "Hour").value_or(0);
    parts.tm_min = PartOf(time, "Minute").value_or(0);
    parts.tm_sec = PartOf(time, "Second").value_or(0);
    return TimeOf(parts);
}

OnvifServices ReadServices(const SoapNode& body) {
    OnvifServices services;
    // The later answer: a list of namespaces with addresses.
    for (const SoapNode& service : FindAll(body, "Service")) {
        const std::string name = TextOf(Child(service, "Namespace"));
        const std::string address = TextOf(Child(service, "XAddr"));
        const auto take = [&](const char* part, std::string& place) {
            if (name.find(part) != std::string::npos && place.empty()) {
                place = address;
            }
        };
        take("/ver10/media/", services.media);
        take("/ver20/media/", services.media2);
        take("/ptz/", services.ptz);
        take("/imaging/", services.imaging);
        take("/events/", services.events);
    }
    // The former one: an element for each.
    const SoapNode abilities = Find(body, "Capabilities");
    const auto take = [&](const char* name, std::string& place) {
        if (place.empty()) {
            place = TextOf(Child(Child(abilities, name), "XAddr"));
        }
    };
    take("Media", services.media);
    take("PTZ", services.ptz);
    take("Imaging", services.imaging);
    take("Events", services.events);
    return services;
}

OnvifInformation ReadInformation(const SoapNode& body) {
    return {PrintableUtf8(TextOf(Find(body, "Manufacturer")), kLongestWord),
            PrintableUtf8(TextOf(Find(body, "Model")), kLongestWord)};
}

std::vector<OnvifProfile> ReadProfiles(const SoapNode& body) {
    std::vector<OnvifProfile> profiles;
    for (const SoapNode& node : FindAll(body, "Profiles")) {
        OnvifProfile profile = ReadProfile(node);
        if (!profile.token.empty() && profiles.size() < kMostProfiles) {
            profiles.push_back(std::move(profile));
        }
    }
    return profiles;
}

std::string ReadUri(const SoapNode& body) {
    return TextOf(Find(body, "Uri"));
}

PtzNode ReadPtzNode(const SoapNode& body, const std::string& token) {
    SoapNode chosen;
    for (const SoapNode& node : FindAll(body, "PTZNode")) {
        if (!chosen || Attribute(node, "token") == token) {
            chosen = node;
        }
    }
    PtzNode node;
    const SoapNode spaces = Child(chosen, "SupportedPTZSpaces");
    node.absolute = ChooseSpace(spaces, "AbsolutePanTiltPositionSpace");
    node.relative = ChooseSpace(spaces, "RelativePanTiltTranslationSpace");
    node.continuous = ChooseSpace(spaces, "ContinuousPanTiltVelocitySpace");
    node.absoluteZoom = ChooseSpace(spaces, "AbsoluteZoomPositionSpace");
    node.relativeZoom = ChooseSpace(spaces, "RelativeZoomTranslationSpace");
    node.continuousZoom = ChooseSpace(spaces, "ContinuousZoomVelocitySpace");
    for (const SoapNode& space : Children(spaces, "RelativePanTiltTranslationSpace")) {
        PtzSpace read = ReadSpace(space);
        if (read.uri.ends_with("TranslationSpaceFov")) {
            node.relativeInView = std::move(read);
        }
    }
    node.home = IsTrue(TextOf(Child(chosen, "HomeSupported")));
    node.mostPresets = static_cast<int>(
        std::clamp(NumberOf(TextOf(Child(chosen, "MaximumNumberOfPresets"))).value_or(0), 0.0, 100'000.0));
    for (const SoapNode& command : Children(chosen, "AuxiliaryCommands")) {
        const auto words = SplitWords(TextOf(command), 16);
        node.auxiliary.insert(node.auxiliary.end(), words.begin(), words.end());
    }
    return node;
}

PtzStatus ReadPtzStatus(const SoapNode& body) {
    const SoapNode all = Find(body, "PTZStatus");
    const SoapNode position = Child(all, "Position");
    const SoapNode panTilt = Child(position, "PanTilt");
    const SoapNode moves = Child(all, "MoveStatus");
    PtzStatus status;
    status.x = NumberOf(Attribute(panTilt, "x"));
    status.y = NumberOf(Attribute(panTilt, "y"));
    status.zoom = NumberOf(Attribute(Child(position, "Zoom"), "x"));
    for (const char* const name : {"PanTilt", "Zoom"}) {
        if (const auto moving = MovingOf(TextOf(Child(moves, name)))) {
            status.moving = status.moving.value_or(false) || *moving;
        }
    }
    return status;
}

FocusAbility ReadFocusAbility(const SoapNode& body) {
    const SoapNode options = Find(body, "MoveOptions");
    const auto read = [&](const char* kind, const char* name) -> std::optional<Range> {
        const SoapNode node = Child(options, kind);
        return node ? std::optional(ReadRange(Child(node, name), {})) : std::nullopt;
    };
    return {read("Absolute", "Position"), read("Relative", "Distance"), read("Continuous", "Speed")};
}

FocusStatus ReadFocusStatus(const SoapNode& body) {
    const SoapNode all = Find(body, "FocusStatus20");
    return {NumberOf(TextOf(Child(all, "Position"))), MovingOf(TextOf(Child(all, "MoveStatus")))};
}

std::vector<OnvifPreset> ReadPresets(const SoapNode& body) {
    std::vector<OnvifPreset> presets;
    for (const SoapNode& node : FindAll(body, "Preset")) {
        OnvifPreset preset{Attribute(node, "token"), TextOf(Child(node, "Name"))};
        if (!preset.token.empty() && presets.size() < kMostPresets) {
            presets.push_back(std::move(preset));
        }
    }
    return presets;
}

PullPoint ReadPullPoint(const SoapNode& body) {
    PullPoint point;
    const SoapNode reference = Find(body, "SubscriptionReference");
    point.address = TextOf(Child(reference, "Address"));
    point.header = ReadParameters(Child(reference, "ReferenceParameters"));
    const std::string end = TextOf(Find(body, "TerminationTime"));
    // Both on the camera's clock; some tell a duration.
    const auto until = ReadXmlTime(end);
    const auto now = ReadXmlTime(TextOf(Find(body, "CurrentTime")));
    if (until && now) {
        point.time = std::chrono::duration_cast<std::chrono::seconds>(*until - *now);
    } else if (!until) {
        point.time = ReadDuration(end);
    }
    return point;
}

std::vector<OnvifEvent> ReadEvents(const SoapNode& body) {
    std::vector<OnvifEvent> events;
    for (const SoapNode& node : FindAll(body, "NotificationMessage")) {
        if (auto event = ReadEvent(node)) {
            events.push_back(*std::move(event));
        }
    }
    return events;
}

std::vector<ProbeMatch> ReadProbeMatches(const SoapNode& body) {
    std::vector<ProbeMatch> matches;
    for (const SoapNode& node : FindAll(body, "ProbeMatch")) {
        ProbeMatch match;
        match.endpoint = TextOf(Find(Child(node, "EndpointReference"), "Address"));
        match.addresses = SplitWords(TextOf(Child(node, "XAddrs")), 8);
        match.scopes = SplitWords(TextOf(Child(node, "Scopes")), kMostScopes);
        matches.push_back(std::move(match));
    }
    return matches;
}

}  // namespace kvrecorder
