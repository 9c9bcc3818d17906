// Whether the other end of an encrypted connection is the camera.
#pragma once

#include <curl/curl.h>

#include <string>

#include "cameras/camera_error.h"

// Of the library that encrypts.
struct x509_store_ctx_st;

namespace kvrecorder {

// Judges the certificates that a camera shows to one transfer. `accepted` is a source's: empty for one that
// an authority of this computer has signed for the camera's host, kAnyCertificate, or the only one that is
// taken. One thread; it outlives the transfer.
class CertificateCheck {
public:
    explicit CertificateCheck(std::string accepted) : m_accepted(std::move(accepted)) {}
    CertificateCheck(const CertificateCheck&) = delete;
    CertificateCheck& operator=(const CertificateCheck&) = delete;

    // The transfer's next connection is judged, if its address is one of https. Throws CameraError where the
    // library cannot let us.
    void Watch(CURL* easy, const std::string& url);
    // To be called when the transfer has failed: throws CameraError if that was for the certificate. Its
    // fault has the one that was shown in the value "certificate", as a source accepts it.
    void ThrowIfRefused() const;

private:
    static CURLcode SetUp(CURL* easy, void* context, void* self);
    static int Judge(x509_store_ctx_st* store, void* self);
    int JudgeChain(x509_store_ctx_st* store) const;

    const std::string m_accepted;
    std::string m_host;
    std::string m_shown;  // of the last connection
    int m_fault = 0;      // the library's number; 0: none
};

}  // namespace kvrecorder
