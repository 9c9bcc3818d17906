// What a source says of its camera's certificate.
#pragma once

#include <string>
#include <string_view>

namespace kvrecorder {

inline constexpr std::string_view kAnyCertificate = "any";

// "sha256:" and the digest of the certificate as 64 small hexadecimal digits; also of one with colons between
// its bytes, as others write it. Empty and "any" stay. Throws CameraError.
std::string ReadCertificateWord(std::string_view text);

}  // namespace kvrecorder
