#include "live_wall.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "persist/orvo_registry.h"

namespace kvbench {

namespace {

constexpr char kServer[] = "Bench";

void WriteSettings(const std::string& data, const WallKind& kind) {
    std::filesystem::remove_all(data);
    std::filesystem::create_directories(data);
    kvmon::COrvoRegistry settings;
    kvmon::RegistryApp app;
    app.databasePath = data + "/settings.db";
    settings.InitRegistry(false, app);
    settings.WriteProfileInt(kServer, "ViewStyle", kind.style);
    settings.WriteProfileInt(std::string(kServer) + "\\CustomChannelStyle", "Style", kind.customStyle);
}

void WriteConfig(const std::string& file, const WallKind& kind, const std::string& film) {
    std::ofstream config(file);
    std::filesystem::permissions(file, std::filesystem::perms(0600));
    config << "listen = \"127.0.0.1:0\"\n[server]\nname = \"" << kServer << "\"\n"
           << "[[users]]\nname = \"bench\"\npassword = \"bench\"\n";
    for (int i = 0; i < std::max(kind.Cells(), kind.channels); ++i) {
        config << "[[channels]]\nname = \"" << i << "\"\nfile = \"" << film << "\"\n"
               << "streams = [{ codec = \"" << (kind.coding == kvtest::Coding::Mjpeg ? "mjpeg" : "h264")
               << "\", width = " << kind.width << ", height = " << kind.height << ", fps = 25 }]\n";
    }
}

}  // namespace

std::string WallKind::Name() const {
    return std::to_string(Cells()) + " x " +
           (coding == kvtest::Coding::Mjpeg ? "MJPEG "
            : reordered > 0                 ? "B "
                                            : "") +
           std::to_string(width) + "x" + std::to_string(height) + " into " + std::to_string(cellWidth) + "x" +
           std::to_string(cellHeight);
}

LiveWall::LiveWall(const Programs& programs, const WallKind& kind, const std::string& film,
                   const std::string& folder, const Display& display, const std::function<int(int)>& front) {
    const std::string data = folder + "/client";
    const std::string password = folder + "/password";
    WriteSettings(data, kind);
    WriteConfig(folder + "/recorder.toml", kind, film);
    std::ofstream(password) << "bench\n";
    std::filesystem::permissions(password, std::filesystem::perms(0600));
    m_recorder = std::make_unique<ChildProcess>(
        std::vector<std::string>{programs.recorder, "--config", folder + "/recorder.toml"});
    const int port = front ? front(m_recorder->Port()) : m_recorder->Port();
    m_monitor = std::make_unique<StartedProgram>(
        std::vector<std::string>{programs.monitor, "--server", "127.0.0.1", "--port", std::to_string(port),
                                 "--user", "bench", "--password-file", password, "--auto-start", "--data-dir",
                                 data},
        folder + "/kvmon.log", std::vector<std::string>{display.Variable(), "QT_QPA_PLATFORM=xcb"});
}

}  // namespace kvbench
