// What is wrong with a camera, in words for whoever looks after it.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace kvrecorder {

class CameraError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Why a certificate is not taken, for programs: "not_trusted", "other_host", "not_now", "changed" or
// "invalid".
struct RefusedCertificate {
    std::string shown;  // as a source's `certificate` would accept it; empty: none was refused
    std::string fault;
};

class CertificateError : public CameraError {
public:
    CertificateError(const std::string& words, RefusedCertificate refused)
        : CameraError(words), m_refused(std::move(refused)) {}
    const RefusedCertificate& Refused() const { return m_refused; }

private:
    RefusedCertificate m_refused;
};

}  // namespace kvrecorder
