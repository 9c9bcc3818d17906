#include "onvif/soap_xml.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "media/utf8.h"

namespace kvrecorder {
namespace {

constexpr int kDeepest = 32;
constexpr std::size_t kMostElements = 1024;
constexpr std::size_t kLongestText = 4096;
constexpr std::size_t kLongestReason = 160;

// Words of the camera for the log.
std::string Reason(const SoapNode& fault) {
    std::string text = TextOf(Find(Find(fault, "Reason"), "Text"));
    if (text.empty()) {
        text = TextOf(Child(fault, "faultstring"));
    }
    return PrintableUtf8(text, kLongestReason);
}

void Collect(const SoapNode& node, std::string_view name, int depth, std::size_t most,
             std::vector<SoapNode>& found) {
    for (SoapNode child = node.first_child(); child && found.size() < most; child = child.next_sibling()) {
        if (child.type() != pugi::node_element) {
            continue;
        }
        if (LocalName(child) == name) {
            found.push_back(child);
        }
        if (depth < kDeepest && found.size() < most) {
            Collect(child, name, depth + 1, most, found);
        }
    }
}

std::string_view WithoutPrefix(std::string_view name) {
    return name.substr(name.rfind(':') + 1);
}

void ThrowFault(const SoapNode& fault) {
    std::vector<std::string> codes;
    for (const char* const name : {"Value", "faultcode"}) {
        for (const SoapNode& value : FindAll(fault, name)) {
            codes.emplace_back(WithoutPrefix(TextOf(value)));
        }
    }
    const std::string reason = Reason(fault);
    std::string words = reason;
    if (words.empty()) {
        words = codes.empty() ? "no reason told" : PrintableUtf8(codes.back(), kLongestReason);
    }
    codes.push_back(reason);
    throw SoapFault({FaultCode::CameraSays, {{"reason", words}}}, std::move(codes));
}

}  // namespace

SoapDocument::SoapDocument(std::string_view text) {
    if (!m_document.load_buffer(text.data(), text.size(), pugi::parse_default)) {
        throw CameraError(FaultCode::OnvifNoXml);
    }
}

SoapNode SoapDocument::Body() const {
    const SoapNode body = Child(m_document.document_element(), "Body");
    if (const SoapNode fault = Child(body, "Fault")) {
        ThrowFault(fault);
    }
    return body;
}

bool SoapFault::Has(std::string_view code) const {
    return std::any_of(m_codes.begin(), m_codes.end(),
                       [&](const std::string& known) { return known.find(code) != std::string::npos; });
}

bool SoapFault::IsLogin() const {
    for (const char* const code :
         {"NotAuthorized", "FailedAuthentication", "FailedCheck", "InvalidSecurity", "uthoriz"}) {
        if (Has(code)) {
            return true;
        }
    }
    return false;
}

bool SoapFault::IsUnknown() const {
    return Has("ActionNotSupported") || Has("NotSupported") || Has("UnknownAction") || Has("NoSuchService") ||
           Has("not implemented");
}

std::string_view LocalName(const SoapNode& node) {
    return WithoutPrefix(node.name());
}

SoapNode Child(const SoapNode& node, std::string_view name) {
    for (SoapNode child = node.first_child(); child; child = child.next_sibling()) {
        if (LocalName(child) == name) {
            return child;
        }
    }
    return {};
}

std::vector<SoapNode> Children(const SoapNode& node, std::string_view name) {
    std::vector<SoapNode> found;
    for (SoapNode child = node.first_child(); child && found.size() < kMostElements;
         child = child.next_sibling()) {
        if (LocalName(child) == name) {
            found.push_back(child);
        }
    }
    return found;
}

SoapNode Find(const SoapNode& node, std::string_view name) {
    std::vector<SoapNode> found;
    Collect(node, name, 0, 1, found);
    return found.empty() ? SoapNode() : found.front();
}

std::vector<SoapNode> FindAll(const SoapNode& node, std::string_view name) {
    std::vector<SoapNode> found;
    Collect(node, name, 0, kMostElements, found);
    return found;
}

std::string Attribute(const SoapNode& node, std::string_view name) {
    for (const pugi::xml_attribute& attribute : node.attributes()) {
        if (WithoutPrefix(attribute.name()) == name) {
            return std::string(std::string_view(attribute.value()).substr(0, kLongestText));
        }
    }
    return "";
}

std::string TextOf(const SoapNode& node) {
    std::string_view text = node.child_value();
    constexpr std::string_view kBlanks = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos) {
        return "";
    }
    text = text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
    return std::string(text.substr(0, kLongestText));
}

std::optional<double> NumberOf(const std::string& text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || std::isnan(value)) {
        return std::nullopt;
    }
    return value;
}

bool IsTrue(std::string_view text) {
    return text == "true" || text == "1" || text == "True" || text == "TRUE" || text == "active" ||
           text == "Active" || text == "on" || text == "ON";
}

std::string EscapeXml(std::string_view text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

}  // namespace kvrecorder
