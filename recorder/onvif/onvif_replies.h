// What cameras answer, read with all that may be missing or odd in it. Nothing here throws but for memory.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "onvif/soap_xml.h"

namespace kvrecorder {

// Addresses as the camera tells them; empty for a service that it has not.
struct OnvifServices {
    std::string media;
    std::string media2;  // the later one, which knows H.265
    std::string ptz;
    std::string imaging;
    std::string events;
};

struct Range {
    double low = -1;
    double high = 1;

    double Clamp(double value) const { return value < low ? low : value > high ? high : value; }
};

// A kind of coordinates with its limits.
struct PtzSpace {
    std::string uri;
    Range x;
    Range y;
};

struct OnvifProfile {
    std::string token;
    std::string name;
    std::string source;         // of its pictures
    std::string configuration;  // of that source
    std::string encoding;       // empty: it has no pictures
    int width = 0;
    int height = 0;
    std::string ptzNode;  // empty: it cannot be steered
    std::optional<PtzSpace> panTiltLimits;
    std::optional<PtzSpace> zoomLimits;
};

struct PtzNode {
    std::optional<PtzSpace> absolute;
    std::optional<PtzSpace> relative;
    std::optional<PtzSpace> relativeInView;  // (1, 1) is the picture's upper right corner
    std::optional<PtzSpace> continuous;
    std::optional<PtzSpace> absoluteZoom;
    std::optional<PtzSpace> relativeZoom;
    std::optional<PtzSpace> continuousZoom;
    bool home = false;
    int mostPresets = 0;
    std::vector<std::string> auxiliary;
};

struct PtzStatus {
    std::optional<double> x;
    std::optional<double> y;
    std::optional<double> zoom;
    std::optional<bool> moving;
};

struct FocusAbility {
    std::optional<Range> absolute;
    std::optional<Range> relative;
    std::optional<Range> continuous;  // its speeds
};

struct FocusStatus {
    std::optional<double> position;
    std::optional<bool> moving;
};

struct OnvifPreset {
    std::string token;
    std::string name;

    bool operator==(const OnvifPreset&) const = default;
};

struct OnvifInformation {
    std::string maker;
    std::string model;
};

struct PullPoint {
    std::string address;
    std::string header;                        // what every request to it has to repeat
    std::optional<std::chrono::seconds> time;  // until it ends
};

// What one message says of one thing that goes on and off.
struct OnvifEvent {
    enum class Kind { Motion, Input, SignalLost, Tampering };
    Kind kind = Kind::Motion;
    std::string source;  // which of several of a kind; also where it is told
    std::string video;   // the source of pictures that it is about; empty: not told
    bool on = false;
    bool passing = false;  // nothing will tell its end
};

struct ProbeMatch {
    std::string endpoint;  // the device's own name
    std::vector<std::string> addresses;
    std::vector<std::string> scopes;
};

std::optional<std::chrono::system_clock::time_point> ReadClock(const SoapNode& body);
// Of either kind of answer.
OnvifServices ReadServices(const SoapNode& body);
OnvifInformation ReadInformation(const SoapNode& body);
std::vector<OnvifProfile> ReadProfiles(const SoapNode& body);
std::string ReadUri(const SoapNode& body);
PtzNode ReadPtzNode(const SoapNode& body, const std::string& token);
PtzStatus ReadPtzStatus(const SoapNode& body);
FocusAbility ReadFocusAbility(const SoapNode& body);
FocusStatus ReadFocusStatus(const SoapNode& body);
std::vector<OnvifPreset> ReadPresets(const SoapNode& body);
PullPoint ReadPullPoint(const SoapNode& body);
std::vector<OnvifEvent> ReadEvents(const SoapNode& body);
std::vector<ProbeMatch> ReadProbeMatches(const SoapNode& body);

}  // namespace kvrecorder
