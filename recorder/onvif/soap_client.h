// Requests to a camera: SOAP over HTTP, with a login in either of the two forms that cameras take.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "cameras/certificate_check.h"
#include "media/secret.h"
#include "onvif/soap_xml.h"

namespace kvrecorder {

struct SoapRequest {
    std::string address;
    std::string action;
    std::string body;    // what stands in the envelope's body
    std::string header;  // more for its head
    std::chrono::milliseconds limit{5'000};
    bool login = true;
};

// Neither form of login is taken.
class LoginError : public CameraError {
    using CameraError::CameraError;
};

// One thread at a time.
class SoapClient {
public:
    // `certificate` is a source's; `ended` has a call end soon.
    SoapClient(std::string user, Secret password, std::string certificate, std::function<bool()> ended);
    ~SoapClient();
    SoapClient(const SoapClient&) = delete;
    SoapClient& operator=(const SoapClient&) = delete;

    // How far the camera's clock is ahead of ours: a login is good for a short time only.
    void SetClockAhead(std::chrono::seconds ahead) { m_ahead = ahead; }

    // Throws LoginError, SoapFault for what else the camera refuses, CameraError for all other failures.
    std::unique_ptr<SoapDocument> Call(const SoapRequest& request);

private:
    struct Http;
    struct Answer {
        long status = 0;
        std::string body;
        bool offersDigest = false;
    };

    std::string Envelope(const SoapRequest& request) const;
    Answer Post(const SoapRequest& request);
    [[noreturn]] void FailLogin() const;

    const std::string m_user;
    const Secret m_password;
    const std::function<bool()> m_ended;
    std::chrono::seconds m_ahead{};
    CertificateCheck m_check;
    bool m_digest = false;  // the camera wants the login in HTTP's own form
    const std::unique_ptr<Http> m_http;
};

// The words of a login that holds for `created`, "2026-11-26T12:00:00Z".
Secret MakeSecurityHeader(const std::string& user, const Secret& password, const std::string& nonce,
                          const std::string& created);
// In the form of XML, UTC.
std::string XmlTime(std::chrono::system_clock::time_point time);

}  // namespace kvrecorder
