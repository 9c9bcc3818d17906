// Certificates as cameras have them: good ones, and all others.
#pragma once

#include <string>

namespace kvtest {

struct MadeCertificate {
    std::string file;   // with its key
    std::string shown;  // "sha256:" and the digits
};

struct CertificateWish {
    std::string host = "IP:127.0.0.1";
    long fromDays = -1;  // from now on
    long days = 2;
    bool bySelf = false;  // no authority has signed it
};

// An authority in a folder. Its own certificate is the file that a program trusts by SSL_CERT_FILE.
class CertificateMaker {
public:
    explicit CertificateMaker(std::string folder);
    ~CertificateMaker();
    CertificateMaker(const CertificateMaker&) = delete;

    std::string AuthorityFile() const { return m_folder + "/authority.pem"; }
    MadeCertificate Make(const CertificateWish& wish = {});

private:
    struct Authority;
    const std::string m_folder;
    Authority* m_authority;
    int m_number = 1;
};

}  // namespace kvtest
