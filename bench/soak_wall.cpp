#include "soak_wall.h"

#include <QtCore/QEventLoop>
#include <QtCore/QTimer>
#include <stdexcept>

#include "channel/camera/base_camera.h"
#include "persist/orvo_registry.h"
#include "persist/utilities.h"

namespace kvbench {

using namespace kvmon;

namespace {

constexpr int kLoginMs = 30'000;
constexpr int kRoundMs = 250;
constexpr int kSettleMs = 3'000;

}  // namespace

void Pass(int ms) {
    // An end of the application would close its windows, too.
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

SoakWall::Settings::Settings() {
    SetDataFolder(folder.Path());
    RegistryApp tree;
    tree.databasePath = folder.File("settings.db");
    Registry().InitRegistry(false, tree);
}

SoakWall::Settings::~Settings() {
    Registry().Close();
}

SoakWall::SoakWall(int port)
    : m_site(static_cast<std::uint32_t>(port)), m_console(m_site, nullptr, 0x0409, SystemClock()) {
    m_console.OnInitDialog();
    m_console.show();
    m_console.AutoLogin("admin", "admin");
    for (int ms = 0; ms < kLoginMs && Parts().cells.GetCount() == 0; ms += kRoundMs) {
        Pass(kRoundMs);
    }
    Pass(kSettleMs);
    if (Parts().cameras.GetCount() == 0) {
        throw std::runtime_error("the recorder shows no channels");
    }
    ShowNine();
}

SoakWall::~SoakWall() {
    m_console.DestroyWindow();
}

void SoakWall::ShowNine() {
    m_console.Press(StyleButtonId(CheckedViewStyle(VIEW_STYLE_9CH)));
}

NewPictures SoakWall::LookAtChannels() {
    NewPictures since;
    m_shown.resize(static_cast<std::size_t>(Parts().cameras.GetCount()));
    for (std::size_t n = 0; n < m_shown.size(); ++n) {
        const auto camera = Parts().cameras.GetCameraByChannel(static_cast<int>(n));
        const std::uint64_t shown = camera ? camera->GetStatistics().shown : 0;
        since.silent += shown == m_shown[n] ? 1 : 0;
        since.pictures += shown - m_shown[n];
        m_shown[n] = shown;
    }
    return since;
}

}  // namespace kvbench
