#include "support/tls_peer/made_certificate.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace kvtest {
namespace {

struct Free {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(X509_EXTENSION* extension) const { X509_EXTENSION_free(extension); }
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using Key = std::unique_ptr<EVP_PKEY, Free>;
using Certificate = std::unique_ptr<X509, Free>;

constexpr long kDay = 86'400;

void Check(bool good) {
    if (!good) {
        throw std::runtime_error("no certificate can be made");
    }
}

void AddExtension(X509* certificate, int kind, const std::string& value) {
    const std::unique_ptr<X509_EXTENSION, Free> made(
        X509V3_EXT_conf_nid(nullptr, nullptr, kind, value.c_str()));
    Check(made && X509_add_ext(certificate, made.get(), -1) == 1);
}

Certificate MakeUnsigned(EVP_PKEY* key, const std::string& name, int number, long from, long days) {
    Certificate made(X509_new());
    Check(made != nullptr);
    X509_set_version(made.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(made.get()), number);
    X509_gmtime_adj(X509_getm_notBefore(made.get()), from * kDay);
    X509_gmtime_adj(X509_getm_notAfter(made.get()), (from + days) * kDay);
    X509_set_pubkey(made.get(), key);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(made.get()), "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
    return made;
}

void Write(const std::string& path, X509* certificate, EVP_PKEY* key) {
    const std::unique_ptr<std::FILE, Free> file(std::fopen(path.c_str(), "w"));
    Check(file && PEM_write_X509(file.get(), certificate) == 1);
    Check(!key || PEM_write_PrivateKey(file.get(), key, nullptr, nullptr, 0, nullptr, nullptr) == 1);
}

}  // namespace

struct CertificateMaker::Authority {
    Key key;
    Certificate certificate;
};

CertificateMaker::CertificateMaker(std::string folder)
    : m_folder(std::move(folder)), m_authority(new Authority) {
    m_authority->key.reset(EVP_EC_gen("P-256"));
    EVP_PKEY* const key = m_authority->key.get();
    m_authority->certificate = MakeUnsigned(key, "An authority", m_number, -10, 100);
    X509* const own = m_authority->certificate.get();
    X509_set_issuer_name(own, X509_get_subject_name(own));
    AddExtension(own, NID_basic_constraints, "critical,CA:TRUE");
    Check(X509_sign(own, key, EVP_sha256()) > 0);
    Write(AuthorityFile(), own, nullptr);
}

CertificateMaker::~CertificateMaker() {
    delete m_authority;
}

MadeCertificate CertificateMaker::Make(const CertificateWish& wish) {
    const Key key(EVP_EC_gen("P-256"));
    const Certificate made = MakeUnsigned(key.get(), "A camera", ++m_number, wish.fromDays, wish.days);
    AddExtension(made.get(), NID_subject_alt_name, wish.host);
    X509* const issuer = wish.bySelf ? made.get() : m_authority->certificate.get();
    X509_set_issuer_name(made.get(), X509_get_subject_name(issuer));
    Check(X509_sign(made.get(), wish.bySelf ? key.get() : m_authority->key.get(), EVP_sha256()) > 0);
    MadeCertificate written;
    written.file = m_folder + "/camera-" + std::to_string(m_number) + ".pem";
    Write(written.file, made.get(), key.get());
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    X509_digest(made.get(), EVP_sha256(), digest, &size);
    written.shown = "sha256:";
    for (unsigned i = 0; i < size; ++i) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", digest[i]);
        written.shown += digits;
    }
    return written;
}

}  // namespace kvtest
