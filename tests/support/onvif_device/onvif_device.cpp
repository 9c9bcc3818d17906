#include "support/onvif_device/onvif_device.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <regex>

#include "support/onvif_device/onvif_login.h"

namespace kvtest {
namespace {

using Clock = std::chrono::steady_clock;

struct Refused {
    std::string code;
    std::string reason;
};

std::string XmlTime(std::time_t time) {
    std::tm parts{};
    ::gmtime_r(&time, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

std::string InEnvelope(const std::string& body) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<SOAP-ENV:Envelope "
           "xmlns:SOAP-ENV=\"http://www.w3.org/2003/05/soap-envelope\" "
           "xmlns:tt=\"http://www.onvif.org/ver10/schema\" "
           "xmlns:wsnt=\"http://docs.oasis-open.org/wsn/b-2\" "
           "xmlns:wsa5=\"http://www.w3.org/2005/08/addressing\"><SOAP-ENV:Body>\n" +
           body + "\n</SOAP-ENV:Body></SOAP-ENV:Envelope>";
}

std::string FaultOf(const Refused& refused) {
    return InEnvelope(
        "<SOAP-ENV:Fault><SOAP-ENV:Code><SOAP-ENV:Value>SOAP-ENV:Sender</SOAP-ENV:Value><SOAP-ENV:Subcode>"
        "<SOAP-ENV:Value>ter:" +
        refused.code +
        "</SOAP-ENV:Value></SOAP-ENV:Subcode></SOAP-ENV:Code><SOAP-ENV:Reason><SOAP-ENV:Text "
        "xml:lang=\"en\">" +
        refused.reason + "</SOAP-ENV:Text></SOAP-ENV:Reason></SOAP-ENV:Fault>");
}

std::string Http(int status, const std::string& body, const std::string& head = "") {
    return "HTTP/1.1 " + std::to_string(status) + " Told\r\nContent-Type: application/soap+xml\r\n" + head +
           "Content-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}

std::string Space2(const std::string& name, const std::string& uri) {
    return "<tt:" + name + "><tt:URI>http://www.onvif.org/ver10/tptz/PanTiltSpaces/" + uri +
           "</tt:URI><tt:XRange><tt:Min>-1.0</tt:Min><tt:Max>1.0</tt:Max></tt:XRange><tt:YRange><tt:Min>-1.0"
           "</tt:Min><tt:Max>1.0</tt:Max></tt:YRange></tt:" +
           name + ">";
}

std::string Space1(const std::string& name, const std::string& uri, const char* low) {
    return "<tt:" + name + "><tt:URI>http://www.onvif.org/ver10/tptz/ZoomSpaces/" + uri +
           "</tt:URI><tt:XRange><tt:Min>" + low + "</tt:Min><tt:Max>1</tt:Max></tt:XRange></tt:" + name + ">";
}

double NumberOf(const std::string& text) {
    return std::atof(text.c_str());
}

std::string Text(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.4f", value);
    return text;
}

std::chrono::milliseconds Seconds(const std::string& duration) {
    std::smatch match;
    return std::regex_search(duration, match, std::regex("PT([0-9]+)S"))
               ? std::chrono::seconds(std::atoi(match[1].str().c_str()))
               : std::chrono::seconds(60);
}

// An eye sees a fifth of the whole.
constexpr double kView = 0.1;

}  // namespace

OnvifDevice::OnvifDevice(OnvifDeviceSetup setup) : m_setup(std::move(setup)) {
    m_server = std::make_unique<ScriptedServer>([this](Peer& peer) { Serve(peer); });
}

OnvifDevice::~OnvifDevice() {
    m_ended = true;
    m_changed.notify_all();
    m_server.reset();
}

std::string OnvifDevice::Address() const {
    return "http://127.0.0.1:" + std::to_string(m_server->Port()) + "/onvif/device_service";
}

std::string OnvifDevice::Url() const {
    return "onvif://127.0.0.1:" + std::to_string(m_server->Port());
}

std::string OnvifDevice::Place(const std::string& path) const {
    return (m_setup.elsewhere ? "http://192.168.77.7"
                              : "http://127.0.0.1:" + std::to_string(m_server->Port())) +
           path;
}

std::vector<std::string> OnvifDevice::Orders() const {
    const std::lock_guard lock(m_mutex);
    std::vector<std::string> orders;
    for (const std::string& name : m_names) {
        if (!name.starts_with("Get") && name != "PullMessages" && name != "CreatePullPointSubscription") {
            orders.push_back(name);
        }
    }
    return orders;
}

int OnvifDevice::Count(const std::string& name) const {
    const std::lock_guard lock(m_mutex);
    return static_cast<int>(std::count(m_names.begin(), m_names.end(), name));
}

std::map<std::string, std::string> OnvifDevice::Presets() const {
    const std::lock_guard lock(m_mutex);
    return m_presets;
}

void OnvifDevice::Spoil(const std::string& request, int status, const std::string& body) {
    const std::lock_guard lock(m_mutex);
    m_spoiled[request] = {status, body};
}

void OnvifDevice::Mend() {
    const std::lock_guard lock(m_mutex);
    m_spoiled.clear();
    m_slow.clear();
    m_changed.notify_all();
}

void OnvifDevice::Slow(const std::string& request, milliseconds time) {
    const std::lock_guard lock(m_mutex);
    m_slow[request] = time;
}

void OnvifDevice::Serve(Peer& peer) {
    const std::string head = peer.ReadHead();
    if (!head.starts_with("POST ")) {
        return;
    }
    std::smatch match;
    const std::string path = head.substr(5, head.find(' ', 5) - 5);
    std::size_t length = 0;
    if (std::regex_search(head, match, std::regex("Content-Length: ([0-9]+)", std::regex::icase))) {
        length = static_cast<std::size_t>(std::atoi(match[1].str().c_str()));
    }
    const std::string body = peer.Read(length);
    if (length == 0) {
        peer.Write(Http(401, "", DigestChallenge()));
        return;
    }
    std::string name;
    if (std::regex_search(body, match, std::regex("<(?:[\\w-]+:)?Body[^>]*>\\s*<(?:[\\w-]+:)?(\\w+)"))) {
        name = match[1];
    }
    const bool open = name == "GetSystemDateAndTime";
    using Login = OnvifDeviceSetup::Login;
    if (!open && m_setup.login == Login::Digest && !IsGoodDigest(head, m_setup.user, m_setup.password)) {
        peer.Write(Http(401, "", DigestChallenge()));
        return;
    }
    if (!open && m_setup.login == Login::Token &&
        !IsGoodToken(body, m_setup.user, m_setup.password, std::time(nullptr) + m_setup.clockAhead.count())) {
        peer.Write(Http(400, FaultOf({"NotAuthorized", "Sender not authorized"})));
        return;
    }
    std::pair<int, std::string> spoiled;
    milliseconds slow{0};
    {
        const std::lock_guard lock(m_mutex);
        m_names.push_back(name);
        m_changed.notify_all();
        if (const auto found = m_spoiled.find(name); found != m_spoiled.end()) {
            spoiled = found->second;
        }
        if (const auto found = m_slow.find(name); found != m_slow.end()) {
            slow = found->second;
        }
    }
    if (slow.count() > 0) {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, slow, [&] { return m_ended || !m_slow.contains(name); });
    }
    if (spoiled.first != 0) {
        peer.Write(Http(spoiled.first, spoiled.second));
        return;
    }
    try {
        peer.Write(Http(200, InEnvelope(Answer(name, path, body))));
    } catch (const Refused& refused) {
        peer.Write(Http(500, FaultOf(refused)));
    }
}

std::string OnvifDevice::Answer(const std::string& name, const std::string& path, const std::string& body) {
    if (path == "/onvif/device_service") {
        return AnswerDevice(name);
    }
    if (path == "/onvif/media" || path == "/onvif/media2") {
        return AnswerMedia(name, body);
    }
    if (path == "/onvif/ptz" && m_setup.steerable) {
        return AnswerPtz(name, body);
    }
    if (path == "/onvif/imaging" && m_setup.steerable) {
        return AnswerImaging(name, body);
    }
    if (path.starts_with("/onvif/event")) {
        return AnswerEvents(name, path, body);
    }
    throw Refused{"ActionNotSupported", "no such service"};
}

std::string OnvifDevice::AnswerDevice(const std::string& name) {
    const std::vector<std::array<const char*, 3>> services = {
        {"http://www.onvif.org/ver10/media/wsdl", "Media", "/onvif/media"},
        {"http://www.onvif.org/ver20/ptz/wsdl", "PTZ", "/onvif/ptz"},
        {"http://www.onvif.org/ver20/imaging/wsdl", "Imaging", "/onvif/imaging"},
        {"http://www.onvif.org/ver10/events/wsdl", "Events", "/onvif/event_service"},
        {"http://www.onvif.org/ver20/media/wsdl", "", "/onvif/media2"}};
    if (name == "GetSystemDateAndTime") {
        const std::time_t now = std::time(nullptr) + m_setup.clockAhead.count();
        std::tm parts{};
        ::gmtime_r(&now, &parts);
        const auto part = [](const char* what, int value) {
            return std::string("<tt:") + what + ">" + std::to_string(value) + "</tt:" + what + ">";
        };
        return "<tds:GetSystemDateAndTimeResponse xmlns:tds=\"http://www.onvif.org/ver10/device/wsdl\">"
               "<tds:SystemDateAndTime><tt:DateTimeType>Manual</tt:DateTimeType><tt:UTCDateTime><tt:Time>" +
               part("Hour", parts.tm_hour) + part("Minute", parts.tm_min) + part("Second", parts.tm_sec) +
               "</tt:Time><tt:Date>" + part("Year", parts.tm_year + 1900) + part("Month", parts.tm_mon + 1) +
               part("Day", parts.tm_mday) +
               "</tt:Date></tt:UTCDateTime></tds:SystemDateAndTime></tds:GetSystemDateAndTimeResponse>";
    }
    if (name == "GetDeviceInformation") {
        return "<tds:GetDeviceInformationResponse><tds:Manufacturer>Acme</tds:Manufacturer><tds:Model>PTZ-1"
               "</tds:Model><tds:FirmwareVersion>1</tds:FirmwareVersion></tds:GetDeviceInformationResponse>";
    }
    std::string list;
    if (name == "GetServices" && !m_setup.old) {
        for (const auto& [space, key, path] : services) {
            if (*key != '\0' || m_setup.later) {
                list += std::string("<tds:Service><tds:Namespace>") + space + "</tds:Namespace><tds:XAddr>" +
                        Place(path) + "</tds:XAddr></tds:Service>";
            }
        }
        return "<tds:GetServicesResponse>" + list + "</tds:GetServicesResponse>";
    }
    if (name == "GetCapabilities") {
        for (const auto& [space, key, path] : services) {
            if (*key != '\0') {
                list +=
                    std::string("<tt:") + key + "><tt:XAddr>" + Place(path) + "</tt:XAddr></tt:" + key + ">";
            }
        }
        return "<tds:GetCapabilitiesResponse><tds:Capabilities>" + list +
               "</tds:Capabilities></tds:GetCapabilitiesResponse>";
    }
    throw Refused{"ActionNotSupported", "not implemented"};
}

std::string OnvifDevice::AnswerMedia(const std::string& name, const std::string& body) {
    const bool later = body.find("ver20/media") != std::string::npos;
    if (name == "GetProfiles") {
        if (later != m_setup.later) {
            return "<trt:GetProfilesResponse/>";
        }
        // The small one comes first.
        std::string list;
        const auto add = [&](const char* token, const char* size) {
            const std::string source =
                "token=\"vsc\"><tt:Name>v</tt:Name><tt:SourceToken>source_0</tt:SourceToken>";
            const std::string coder =
                std::string("token=\"vec\"><tt:Encoding>H264</tt:Encoding><tt:Resolution>") + size +
                "</tt:Resolution>";
            const std::string ptz = "token=\"ptzc\"><tt:NodeToken>node_0</tt:NodeToken>";
            list += std::string("<trt:Profiles token=\"") + token + "\" fixed=\"true\"><tt:Name>" + token +
                    "</tt:Name>";
            if (later) {
                list += "<tr2:Configurations><tr2:VideoSource " + source +
                        "</tr2:VideoSource><tr2:VideoEncoder " + coder + "</tr2:VideoEncoder><tr2:PTZ " +
                        ptz + "</tr2:PTZ></tr2:Configurations>";
            } else {
                list += "<tt:VideoSourceConfiguration " + source +
                        "</tt:VideoSourceConfiguration><tt:VideoEncoderConfiguration " + coder +
                        "</tt:VideoEncoderConfiguration>" +
                        (m_setup.steerable ? "<tt:PTZConfiguration " + ptz + "</tt:PTZConfiguration>" : "");
            }
            list += "</trt:Profiles>";
        };
        if (!m_setup.rtspSub.empty()) {
            add("small", "<tt:Width>160</tt:Width><tt:Height>120</tt:Height>");
        }
        add("large", "<tt:Width>320</tt:Width><tt:Height>240</tt:Height>");
        return "<trt:GetProfilesResponse>" + list + "</trt:GetProfilesResponse>";
    }
    if (name == "GetStreamUri") {
        const std::string token = ElementText(body, "ProfileToken");
        if (token != "small" && token != "large") {
            throw Refused{"NoProfile", "no such profile"};
        }
        const std::string uri =
            "<tt:Uri>" + (token == "large" ? m_setup.rtspMain : m_setup.rtspSub) + "</tt:Uri>";
        return "<trt:GetStreamUriResponse>" + (later ? uri : "<trt:MediaUri>" + uri + "</trt:MediaUri>") +
               "</trt:GetStreamUriResponse>";
    }
    if (name == "GetSnapshotUri" && !m_setup.snapshot.empty()) {
        return "<trt:GetSnapshotUriResponse><trt:MediaUri><tt:Uri>" + m_setup.snapshot +
               "</tt:Uri></trt:MediaUri></trt:GetSnapshotUriResponse>";
    }
    throw Refused{"ActionNotSupported", "not implemented"};
}

std::string OnvifDevice::Move(const std::string& name, const std::string& body) {
    using Motion = OnvifDeviceSetup::Motion;
    const std::string x = AttributeText(body, "PanTilt", "x");
    const std::string y = AttributeText(body, "PanTilt", "y");
    const std::string zoom = AttributeText(body, "Zoom", "x");
    const bool inView = AttributeText(body, "PanTilt", "space").ends_with("TranslationSpaceFov");
    if (name == "RelativeMove" && m_setup.motion != Motion::Continuous &&
        m_setup.motion != Motion::Absolute) {
        if (inView != (m_setup.motion == Motion::InView) && !x.empty()) {
            throw Refused{"SpaceNotSupported", "not in this space"};
        }
        const double unit = inView ? kView : 1;
        if (!x.empty()) {
            m_head.MoveBy(OnvifHead::kPan, unit * NumberOf(x));
            m_head.MoveBy(OnvifHead::kTilt, unit * NumberOf(y));
        }
        if (!zoom.empty()) {
            m_head.MoveBy(OnvifHead::kZoom, NumberOf(zoom));
        }
    } else if (name == "AbsoluteMove" && m_setup.motion == Motion::Absolute) {
        if (!x.empty()) {
            m_head.MoveTo(OnvifHead::kPan, NumberOf(x));
            m_head.MoveTo(OnvifHead::kTilt, NumberOf(y));
        }
        if (!zoom.empty()) {
            m_head.MoveTo(OnvifHead::kZoom, NumberOf(zoom));
        }
    } else if (name == "ContinuousMove" && m_setup.motion == Motion::Continuous) {
        const auto time = Seconds(ElementText(body, "Timeout"));
        if (!x.empty()) {
            m_head.Run(OnvifHead::kPan, NumberOf(x), time);
            m_head.Run(OnvifHead::kTilt, NumberOf(y), time);
        }
        if (!zoom.empty()) {
            m_head.Run(OnvifHead::kZoom, NumberOf(zoom), time);
        }
    } else {
        throw Refused{"ActionNotSupported", "it does not move so"};
    }
    return "<tptz:" + name + "Response/>";
}

std::string OnvifDevice::AnswerPtz(const std::string& name, const std::string& body) {
    using Motion = OnvifDeviceSetup::Motion;
    if (name == "GetNodes") {
        std::string spaces = Space2("AbsolutePanTiltPositionSpace", "PositionGenericSpace") +
                             Space1("AbsoluteZoomPositionSpace", "PositionGenericSpace", "0");
        if (m_setup.motion == Motion::InView) {
            spaces += Space2("RelativePanTiltTranslationSpace", "TranslationSpaceFov");
        }
        if (m_setup.motion == Motion::Relative) {
            spaces += Space2("RelativePanTiltTranslationSpace", "TranslationGenericSpace");
        }
        if (m_setup.motion == Motion::InView || m_setup.motion == Motion::Relative) {
            spaces += Space1("RelativeZoomTranslationSpace", "TranslationGenericSpace", "-1");
        }
        if (m_setup.motion == Motion::Continuous) {
            spaces += Space2("ContinuousPanTiltVelocitySpace", "VelocityGenericSpace") +
                      Space1("ContinuousZoomVelocitySpace", "VelocityGenericSpace", "-1");
        }
        std::string auxiliary;
        for (const std::string& order : m_setup.tracking) {
            auxiliary += "<tt:AuxiliaryCommands>" + order + "</tt:AuxiliaryCommands>";
        }
        return "<tptz:GetNodesResponse><tptz:PTZNode token=\"node_0\" FixedHomePosition=\"false\"><tt:Name>n"
               "</tt:Name><tt:SupportedPTZSpaces>" +
               spaces +
               "</tt:SupportedPTZSpaces><tt:MaximumNumberOfPresets>32</tt:MaximumNumberOfPresets><tt:"
               "HomeSupported>true</tt:HomeSupported>" +
               auxiliary + "</tptz:PTZNode></tptz:GetNodesResponse>";
    }
    if (ElementText(body, "ProfileToken").empty()) {
        throw Refused{"NoProfile", "no profile told"};
    }
    const auto status = [this](OnvifHead::Axis a, OnvifHead::Axis b) {
        return m_head.Moves(a) || m_head.Moves(b) ? "MOVING" : "IDLE";
    };
    if (name == "GetStatus") {
        return "<tptz:GetStatusResponse><tptz:PTZStatus><tt:Position><tt:PanTilt x=\"" +
               Text(m_head.Place(OnvifHead::kPan)) + "\" y=\"" + Text(m_head.Place(OnvifHead::kTilt)) +
               "\"/><tt:Zoom x=\"" + Text(m_head.Place(OnvifHead::kZoom)) +
               "\"/></tt:Position><tt:MoveStatus><tt:PanTilt>" + status(OnvifHead::kPan, OnvifHead::kTilt) +
               "</tt:PanTilt><tt:Zoom>" + status(OnvifHead::kZoom, OnvifHead::kZoom) +
               "</tt:Zoom></tt:MoveStatus></tptz:PTZStatus></tptz:GetStatusResponse>";
    }
    if (name == "Stop") {
        for (const auto axis : {OnvifHead::kPan, OnvifHead::kTilt, OnvifHead::kZoom}) {
            m_head.Stop(axis);
        }
        return "<tptz:StopResponse/>";
    }
    if (name == "GotoHomePosition") {
        m_head.MoveTo(OnvifHead::kPan, 0);
        m_head.MoveTo(OnvifHead::kTilt, 0);
        return "<tptz:GotoHomePositionResponse/>";
    }
    if (name == "SendAuxiliaryCommand") {
        const std::lock_guard lock(m_mutex);
        m_names.push_back(ElementText(body, "AuxiliaryData"));
        return "<tptz:SendAuxiliaryCommandResponse/>";
    }
    if (name.ends_with("Move")) {
        return Move(name, body);
    }
    const std::lock_guard lock(m_mutex);
    const std::string token = ElementText(body, "PresetToken");
    if (name == "GetPresets") {
        std::string list;
        for (const auto& [known, text] : m_presets) {
            std::string escaped = std::regex_replace(text, std::regex("&"), "&amp;");
            list += "<tptz:Preset token=\"" + known + "\"><tt:Name>" + escaped + "</tt:Name></tptz:Preset>";
        }
        return "<tptz:GetPresetsResponse>" + list + "</tptz:GetPresetsResponse>";
    }
    if (name == "SetPreset") {
        const std::string own = token.empty() ? "p-" + std::to_string(m_nextPreset++) : token;
        m_presets[own] = std::regex_replace(ElementText(body, "PresetName"), std::regex("&amp;"), "&");
        m_places[own] = {m_head.Place(OnvifHead::kPan), m_head.Place(OnvifHead::kTilt),
                         m_head.Place(OnvifHead::kZoom)};
        return "<tptz:SetPresetResponse><tptz:PresetToken>" + own +
               "</tptz:PresetToken></tptz:SetPresetResponse>";
    }
    if (!m_presets.contains(token)) {
        throw Refused{"NoToken", "no such preset"};
    }
    if (name == "GotoPreset") {
        m_head.MoveTo(OnvifHead::kPan, m_places[token][0]);
        m_head.MoveTo(OnvifHead::kTilt, m_places[token][1]);
        m_head.MoveTo(OnvifHead::kZoom, m_places[token][2]);
        return "<tptz:GotoPresetResponse/>";
    }
    if (name == "RemovePreset") {
        m_presets.erase(token);
        return "<tptz:RemovePresetResponse/>";
    }
    throw Refused{"ActionNotSupported", "not implemented"};
}

std::string OnvifDevice::AnswerImaging(const std::string& name, const std::string& body) {
    if (ElementText(body, "VideoSourceToken") != "source_0") {
        throw Refused{"NoSource", "no such source"};
    }
    if (name == "GetMoveOptions") {
        const std::string range = "<tt:Min>0</tt:Min><tt:Max>1</tt:Max>";
        const std::string both = "<tt:Min>-1</tt:Min><tt:Max>1</tt:Max>";
        return "<timg:GetMoveOptionsResponse><timg:MoveOptions><tt:Absolute><tt:Position>" + range +
               "</tt:Position></tt:Absolute><tt:Continuous><tt:Speed>" + both +
               "</tt:Speed></tt:Continuous></timg:MoveOptions></timg:GetMoveOptionsResponse>";
    }
    if (name == "Move") {
        const std::string speed = ElementText(body, "Speed");
        if (speed.empty()) {
            throw Refused{"SettingsInvalid", "no speed told"};
        }
        m_head.Run(OnvifHead::kFocus, 4 * NumberOf(speed), std::chrono::seconds(10));
        return "<timg:MoveResponse/>";
    }
    if (name == "Stop") {
        m_head.Stop(OnvifHead::kFocus);
        return "<timg:StopResponse/>";
    }
    return "<timg:GetStatusResponse><timg:Status><tt:FocusStatus20><tt:Position>" +
           Text(m_head.Place(OnvifHead::kFocus)) + "</tt:Position><tt:MoveStatus>" +
           (m_head.Moves(OnvifHead::kFocus) ? "MOVING" : "IDLE") +
           "</tt:MoveStatus></tt:FocusStatus20></timg:Status></timg:GetStatusResponse>";
}

std::string OnvifDevice::MessageOf(const std::string& topic, const std::string& item, bool on,
                                   const std::string& source, const std::string& operation) const {
    return "<wsnt:NotificationMessage><wsnt:Topic "
           "Dialect=\"http://www.onvif.org/ver10/tev/topicExpression/ConcreteSet\">" +
           topic + "</wsnt:Topic><wsnt:Message><tt:Message UtcTime=\"" + XmlTime(std::time(nullptr)) + "\"" +
           (operation.empty() ? "" : " PropertyOperation=\"" + operation + "\"") + "><tt:Source>" + source +
           "</tt:Source><tt:Data><tt:SimpleItem Name=\"" + item + "\" Value=\"" + (on ? "true" : "false") +
           "\"/></tt:Data></tt:Message></wsnt:Message></wsnt:NotificationMessage>";
}

void OnvifDevice::Send(const std::string& message) {
    for (auto& [id, subscription] : m_subscriptions) {
        subscription.messages.push_back(message);
    }
    m_changed.notify_all();
}

void OnvifDevice::Tell(const std::string& topic, const std::string& item, bool on,
                       const std::string& source) {
    const std::lock_guard lock(m_mutex);
    m_going[topic + source] = MessageOf(topic, item, on, source, "Initialized");
    Send(MessageOf(topic, item, on, source, "Changed"));
}

void OnvifDevice::TellOnce(const std::string& topic, const std::string& item) {
    const std::lock_guard lock(m_mutex);
    Send(MessageOf(topic, item, true, "", ""));
}

void OnvifDevice::DropSubscriptions() {
    const std::lock_guard lock(m_mutex);
    m_subscriptions.clear();
    m_changed.notify_all();
}

std::size_t OnvifDevice::Subscriptions() const {
    const std::lock_guard lock(m_mutex);
    return m_subscriptions.size();
}

std::string OnvifDevice::Pull(const std::string& id, const std::string& body) {
    std::unique_lock lock(m_mutex);
    const auto until = Clock::now() + Seconds(ElementText(body, "Timeout"));
    const auto gone = [&] {
        const auto found = m_subscriptions.find(id);
        return found == m_subscriptions.end() || found->second.until < Clock::now();
    };
    m_changed.wait_until(lock, until,
                         [&] { return m_ended || gone() || !m_subscriptions[id].messages.empty(); });
    if (gone()) {
        m_subscriptions.erase(id);
        throw Refused{"InvalidArgVal", "ResourceUnknownFault"};
    }
    std::string list;
    for (const std::string& message : m_subscriptions[id].messages) {
        list += message;
    }
    m_subscriptions[id].messages.clear();
    return "<tev:PullMessagesResponse>" + list + "</tev:PullMessagesResponse>";
}

std::string OnvifDevice::AnswerEvents(const std::string& name, const std::string& path,
                                      const std::string& body) {
    const auto times = [this](std::chrono::seconds time) {
        const std::time_t now = std::time(nullptr) + m_setup.clockAhead.count();
        return "<wsnt:CurrentTime>" + XmlTime(now) + "</wsnt:CurrentTime><wsnt:TerminationTime>" +
               XmlTime(now + time.count()) + "</wsnt:TerminationTime>";
    };
    const auto granted = [&](const char* element) {
        const auto wanted =
            std::chrono::duration_cast<std::chrono::seconds>(Seconds(ElementText(body, element)));
        return std::min(wanted, m_setup.subscription);
    };
    if (name == "CreatePullPointSubscription") {
        const std::lock_guard lock(m_mutex);
        const std::string id = std::to_string(++m_nextSubscription);
        Subscription& subscription = m_subscriptions[id];
        subscription.until = Clock::now() + granted("InitialTerminationTime");
        for (const auto& [topic, message] : m_going) {
            subscription.messages.push_back(message);
        }
        return "<tev:CreatePullPointSubscriptionResponse><tev:SubscriptionReference><wsa5:Address>" +
               Place("/onvif/events") +
               "</wsa5:Address><wsa5:ReferenceParameters><dom0:SubscriptionId "
               "xmlns:dom0=\"http://acme.example/events\">" +
               id + "</dom0:SubscriptionId></wsa5:ReferenceParameters></tev:SubscriptionReference>" +
               times(granted("InitialTerminationTime")) + "</tev:CreatePullPointSubscriptionResponse>";
    }
    // The subscription is told apart by what it was told to repeat.
    const std::string id = ElementText(body.substr(0, body.find("Body")), "SubscriptionId");
    if (path != "/onvif/events" || id.empty()) {
        throw Refused{"InvalidArgVal", "no subscription told"};
    }
    if (name == "PullMessages") {
        return Pull(id, body);
    }
    const std::lock_guard lock(m_mutex);
    if (name == "Renew" && m_subscriptions.contains(id)) {
        m_subscriptions[id].until = Clock::now() + granted("TerminationTime");
        return "<wsnt:RenewResponse>" + times(granted("TerminationTime")) + "</wsnt:RenewResponse>";
    }
    if (name == "Unsubscribe") {
        m_subscriptions.erase(id);
        m_changed.notify_all();
        return "<wsnt:UnsubscribeResponse/>";
    }
    throw Refused{"ActionNotSupported", "not implemented"};
}

}  // namespace kvtest
