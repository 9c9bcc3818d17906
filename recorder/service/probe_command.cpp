#include "service/probe_command.h"

#include <iomanip>
#include <ostream>
#include <sstream>

#include "media/utf8.h"
#include "service/camera_tests.h"

namespace kvrecorder {
namespace {

constexpr std::chrono::milliseconds kLongestProbe{15'000};

std::string TellPictures(const CameraReport& report) {
    std::ostringstream text;
    text << "codec: " << report.codec << "\nsize: " << report.width << 'x' << report.height << std::fixed
         << std::setprecision(1);
    if (report.fps > 0) {
        text << "\nrate: " << report.fps << " pictures a second";
    }
    if (report.keyInterval) {
        text << "\nkey pictures: every " << std::setprecision(2)
             << static_cast<double>(report.keyInterval->count()) / 1000 << " s";
    }
    text << "\nsound: " << (report.sound.empty() ? "none" : report.sound) << "\nconnected: after "
         << report.connected.count() << " ms"
         << "\nfirst picture: after " << report.firstPicture.count() << " ms\n";
    return text.str();
}

}  // namespace

bool ProbeForTerminal(const Options& options, std::ostream& out, std::ostream& errors) {
    const CameraUrl& url = *options.probe;
    NetworkCamera camera;
    camera.url = url.url;
    camera.user = url.user;
    camera.password = url.password;
    camera.overUdp = options.camerasOverUdp;
    camera.certificate = options.cameraCertificate;
    const CameraReport report = ProbeAnyCamera(camera, kLongestProbe, [] { return false; });
    const std::string name = PrintableUtf8(camera.url, camera.url.size());
    if (report.HasPictures()) {
        out << "camera: " << name << '\n' << TellPictures(report);
    }
    for (const Fault& fault : report.faults) {
        const std::string words = PrintableUtf8(fault.words, fault.words.size());
        if (report.HasPictures()) {
            out << "wrong: " << words << '\n';
        } else {
            errors << "kvrecorder: " << name << ": " << words << '\n';
        }
    }
    out << std::flush;
    return report.HasPictures();
}

}  // namespace kvrecorder
