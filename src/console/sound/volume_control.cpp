#include "console/sound/volume_control.h"

#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>

namespace kvmon {

namespace {

// The recording page comes first where the mixer has one.
const struct {
    const char* program;
    QStringList arguments;
} kMixers[] = {
    {"pavucontrol", {"--tab=4"}},
    {"pavucontrol-qt", {"--tab", "4"}},
    {"gnome-control-center", {"sound"}},
    {"systemsettings", {"kcm_pulseaudio"}},
    {"systemsettings5", {"kcm_pulseaudio"}},
    {"cinnamon-settings", {"sound"}},
    {"mate-volume-control", {}},
    {"xfce4-mixer", {}},
    {"qasmixer", {}},
};

}  // namespace

bool OpenVolumeControl() {
    for (const auto& mixer : kMixers) {
        const QString path = QStandardPaths::findExecutable(QString::fromLatin1(mixer.program));
        if (!path.isEmpty() && QProcess::startDetached(path, mixer.arguments)) {
            return true;
        }
    }
    return false;
}

}  // namespace kvmon
