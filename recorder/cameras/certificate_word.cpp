#include "cameras/certificate_word.h"

#include <algorithm>
#include <cctype>

#include "cameras/camera_error.h"

namespace kvrecorder {
namespace {

constexpr std::string_view kPrefix = "sha256:";
constexpr std::size_t kDigits = 64;

}  // namespace

std::string ReadCertificateWord(std::string_view text) {
    std::string word(text);
    std::transform(word.begin(), word.end(), word.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (word.empty() || word == kAnyCertificate) {
        return word;
    }
    std::string digits = word.starts_with(kPrefix) ? word.substr(kPrefix.size()) : std::string();
    std::erase(digits, ':');
    if (digits.size() != kDigits || digits.find_first_not_of("0123456789abcdef") != std::string::npos) {
        throw CameraError(FaultCode::CertificateWord);
    }
    return std::string(kPrefix) + digits;
}

}  // namespace kvrecorder
