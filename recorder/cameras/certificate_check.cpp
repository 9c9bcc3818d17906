#include "cameras/certificate_check.h"

#include <arpa/inet.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <algorithm>
#include <array>
#include <new>
#include <string_view>

#include "cameras/camera_url.h"
#include "cameras/certificate_word.h"

namespace kvrecorder {
namespace {

// Of a certificate that is not the accepted one.
constexpr int kChanged = X509_V_ERR_APPLICATION_VERIFICATION;

std::string FingerprintOf(const X509* certificate) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    if (certificate == nullptr || X509_digest(certificate, EVP_sha256(), digest.data(), &size) != 1) {
        return {};
    }
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text = "sha256:";
    for (unsigned i = 0; i < size; ++i) {
        text += kDigits[digest[i] >> 4];
        text += kDigits[digest[i] & 15];
    }
    return text;
}

// Others take such a function, too, and hand it something else.
bool IsOurLibrary() {
    const char* const name = curl_version_info(CURLVERSION_NOW)->ssl_version;
    return name != nullptr && std::string_view(name).starts_with("OpenSSL");
}

bool IsNumeric(const std::string& host) {
    std::array<unsigned char, sizeof(in6_addr)> address{};
    return ::inet_pton(AF_INET, host.c_str(), address.data()) == 1 ||
           ::inet_pton(AF_INET6, host.c_str(), address.data()) == 1;
}

FaultCode CodeOf(int error) {
    switch (error) {
        case kChanged:
            return FaultCode::CertificateChanged;
        case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
            return FaultCode::CertificateNotTrusted;
        case X509_V_ERR_HOSTNAME_MISMATCH:
        case X509_V_ERR_IP_ADDRESS_MISMATCH:
            return FaultCode::CertificateOtherHost;
        case X509_V_ERR_CERT_HAS_EXPIRED:
            return FaultCode::CertificateExpired;
        case X509_V_ERR_CERT_NOT_YET_VALID:
            return FaultCode::CertificateEarly;
        default:
            return FaultCode::CertificateInvalid;
    }
}

}  // namespace

void CertificateCheck::Watch(CURL* easy, const std::string& url) {
    m_fault = 0;
    m_shown.clear();
    if (!IsEncryptedUrl(url)) {
        return;
    }
    m_host = ReadCameraUrl(url).host;
    m_host.resize(std::min(m_host.find('%'), m_host.size()));  // an interface is none of the certificate's
    // All is judged here: the library would look at the host alone, and at authorities of its own.
    const bool good =
        IsOurLibrary() && curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 0L) == CURLE_OK &&
        curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 0L) == CURLE_OK &&
        curl_easy_setopt(easy, CURLOPT_CAINFO, nullptr) == CURLE_OK &&
        curl_easy_setopt(easy, CURLOPT_CAPATH, nullptr) == CURLE_OK &&
        curl_easy_setopt(easy, CURLOPT_SSL_CTX_FUNCTION, &CertificateCheck::SetUp) == CURLE_OK &&
        curl_easy_setopt(easy, CURLOPT_SSL_CTX_DATA, this) == CURLE_OK;
    if (!good) {
        throw CameraError(FaultCode::CertificateNotChecked);
    }
}

CURLcode CertificateCheck::SetUp(CURL*, void* context, void* self) {
    auto* const library = static_cast<SSL_CTX*>(context);
    // Looked into when one is wanted.
    SSL_CTX_set_default_verify_paths(library);
    SSL_CTX_set_verify(library, SSL_VERIFY_PEER, nullptr);
    SSL_CTX_set_cert_verify_callback(library, &CertificateCheck::Judge, self);
    return CURLE_OK;
}

int CertificateCheck::Judge(x509_store_ctx_st* store, void* self) {
    auto& check = *static_cast<CertificateCheck*>(self);
    try {
        check.m_shown = FingerprintOf(X509_STORE_CTX_get0_cert(store));
        check.m_fault = check.JudgeChain(store);
    } catch (const std::bad_alloc&) {
        check.m_fault = X509_V_ERR_OUT_OF_MEM;
    }
    X509_STORE_CTX_set_error(store, check.m_fault);
    return check.m_fault == X509_V_OK ? 1 : 0;
}

int CertificateCheck::JudgeChain(x509_store_ctx_st* store) const {
    if (m_shown.empty()) {
        return X509_V_ERR_UNSPECIFIED;
    }
    if (m_accepted == kAnyCertificate) {
        return X509_V_OK;
    }
    if (!m_accepted.empty()) {
        return m_shown == m_accepted ? X509_V_OK : kChanged;
    }
    X509_VERIFY_PARAM* const wanted = X509_STORE_CTX_get0_param(store);
    const int set = IsNumeric(m_host) ? X509_VERIFY_PARAM_set1_ip_asc(wanted, m_host.c_str())
                                      : X509_VERIFY_PARAM_set1_host(wanted, m_host.c_str(), m_host.size());
    if (set != 1) {
        return X509_V_ERR_UNSPECIFIED;
    }
    if (X509_verify_cert(store) == 1) {
        return X509_V_OK;
    }
    const int fault = X509_STORE_CTX_get_error(store);
    return fault != X509_V_OK ? fault : X509_V_ERR_UNSPECIFIED;
}

void CertificateCheck::ThrowIfRefused() const {
    if (m_fault == X509_V_OK) {
        return;
    }
    if (m_shown.empty()) {
        throw CameraError(FaultCode::NotEncrypted);
    }
    std::vector<FaultValue> told = {{"certificate", m_shown}};
    const FaultCode code = CodeOf(m_fault);
    if (code == FaultCode::CertificateInvalid) {
        told.emplace_back("reason", std::string(X509_verify_cert_error_string(m_fault)));
    }
    throw CameraError({code, std::move(told)});
}

}  // namespace kvrecorder
