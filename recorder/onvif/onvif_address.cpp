#include "onvif/onvif_address.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>

#include "cameras/camera_error.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kLongest = 1024;
constexpr const char* kDevicePath = "/onvif/device_service";

class Address {
public:
    explicit Address(const std::string& text) : m_url(::curl_url(), ::curl_url_cleanup) {
        const bool plain = text.size() <= kLongest && std::none_of(text.begin(), text.end(), [](char c) {
                               return static_cast<unsigned char>(c) <= ' ' || c == 127;
                           });
        if (!m_url || !plain ||
            ::curl_url_set(m_url.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
            throw CameraError(FaultCode::OnvifAddress);
        }
        // A login in it is none of ours.
        ::curl_url_set(m_url.get(), CURLUPART_USER, nullptr, 0);
        ::curl_url_set(m_url.get(), CURLUPART_PASSWORD, nullptr, 0);
        ::curl_url_set(m_url.get(), CURLUPART_FRAGMENT, nullptr, 0);
    }

    std::string Get(CURLUPart part) const {
        char* value = nullptr;
        if (::curl_url_get(m_url.get(), part, &value, CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
            return "";
        }
        std::string text = value;
        ::curl_free(value);
        return text;
    }
    void Set(CURLUPart part, const std::string& value) {
        ::curl_url_set(m_url.get(), part, value.empty() ? nullptr : value.c_str(), CURLU_NON_SUPPORT_SCHEME);
    }
    bool Is(const std::string& scheme) const {
        const std::string own = Get(CURLUPART_SCHEME);
        return own == scheme || own == scheme + "s";
    }

    // "host", of IPv6 "address%interface" without brackets.
    std::string Host() const {
        std::string host = Get(CURLUPART_HOST);
        if (host.starts_with('[')) {
            host = host.substr(1, host.find(']') - 1);
        }
        const std::string zone = Get(CURLUPART_ZONEID);
        return zone.empty() ? host : host + "%" + zone;
    }
    void SetHost(const std::string& host) {
        if (host.find(':') == std::string::npos) {
            Set(CURLUPART_HOST, host);
            return;
        }
        const std::size_t zone = std::min(host.find('%'), host.size());
        Set(CURLUPART_HOST, "[" + host.substr(0, zone) + "]");
        Set(CURLUPART_ZONEID, host.substr(std::min(zone + 1, host.size())));
    }

private:
    const std::unique_ptr<CURLU, void (*)(CURLU*)> m_url;
};

}  // namespace

std::string DeviceAddress(const std::string& given) {
    Address address(given);
    if (address.Is("onvif")) {
        address.Set(CURLUPART_SCHEME, address.Get(CURLUPART_SCHEME) == "onvifs" ? "https" : "http");
        if (address.Get(CURLUPART_PATH) == "/") {
            address.Set(CURLUPART_PATH, kDevicePath);
        }
    }
    if (!address.Is("http")) {
        throw CameraError("the address of a camera's device service begins with http:// or https://");
    }
    return address.Get(CURLUPART_URL);
}

std::string CameraUrlOf(const std::string& device) {
    Address address(device);
    address.Set(CURLUPART_SCHEME, address.Get(CURLUPART_SCHEME) == "https" ? "onvifs" : "onvif");
    std::string url = address.Get(CURLUPART_URL);
    if (url.ends_with(kDevicePath)) {
        url.resize(url.size() - std::string_view(kDevicePath).size());
    }
    return url;
}

std::string ServiceAddress(const std::string& told, const std::string& reached) {
    Address address(told);
    const Address way(reached);
    if (!address.Is("http")) {
        throw CameraError(FaultCode::OnvifServiceAddress);
    }
    if (address.Host() != way.Host()) {
        address.SetHost(way.Host());
        for (const CURLUPart part : {CURLUPART_SCHEME, CURLUPART_PORT}) {
            address.Set(part, way.Get(part));
        }
    }
    return address.Get(CURLUPART_URL);
}

std::string StreamAddress(const std::string& told, const std::string& reached) {
    Address address(told);
    if (!address.Is("rtsp")) {
        throw CameraError(FaultCode::OnvifPictureAddress);
    }
    address.SetHost(Address(reached).Host());
    return address.Get(CURLUPART_URL);
}

std::string WithHost(const std::string& address, const std::string& host) {
    Address other(address);
    other.SetHost(host);
    return other.Get(CURLUPART_URL);
}

std::string HostOf(const std::string& address) {
    return Address(address).Host();
}

}  // namespace kvrecorder
