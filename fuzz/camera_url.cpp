// The address of a camera, and what is said of its certificate, as a user types it.
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "cameras/camera_url.h"
#include "cameras/certificate_word.h"

using namespace kvrecorder;

namespace {

void Certificate(const std::string& text) {
    try {
        const std::string word = ReadCertificateWord(text);
        const bool isKnown =
            word.empty() || word == kAnyCertificate ||
            (word.size() == 71 && word.find_first_not_of("0123456789abcdef", 7) == word.npos);
        if (!isKnown || ReadCertificateWord(word) != word) {
            std::abort();
        }
    } catch (const std::runtime_error&) {
        // no certificate
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    Certificate(text);
    try {
        const CameraUrl taken = ReadCameraUrl(text);
        if (taken.host.empty()) {
            std::abort();
        }
        if (taken.url.starts_with(kUsbScheme)) {
            return 0;
        }
        // What libraries are given says the same, and what is shown holds no login.
        const CameraUrl again = ReadCameraUrl(JoinLogin(taken.url, taken.user, taken.password.View()).View());
        if (again.url != taken.url || again.host != taken.host || again.user != taken.user ||
            (!taken.user.empty() && !(again.password == taken.password.View()))) {
            std::abort();
        }
        if (!ReadCameraUrl(taken.url).user.empty()) {
            std::abort();
        }
    } catch (const std::runtime_error&) {
        // no address
    }
    return 0;
}
