#include "console/settings/snapshot_name.h"

#include <QtCore/QDir>
#include <QtCore/QStandardPaths>
#include <algorithm>

#include "platform/text.h"

namespace kvmon {

std::string DefaultSnapshotFolder(bool bLowIntegrity) {
    if (bLowIntegrity) {
        return GetDataFolder();
    }
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    const QString folder = documents + "/Snapshot";
    return !documents.isEmpty() && QDir().mkpath(folder) ? folder.toStdString() : std::string();
}

const char* SnapshotExtension(SnapshotFormat format) {
    return format == SnapshotFormat::Jpeg ? "jpg" : "bmp";
}

std::string LegalNamePart(std::string_view serverName) {
    constexpr std::string_view kNotAtTheEnds = "\t .";
    constexpr std::string_view kNowhere = "\"*/:<>?\\|";
    if (serverName.empty() || kNotAtTheEnds.find(serverName.front()) != std::string_view::npos ||
        kNotAtTheEnds.find(serverName.back()) != std::string_view::npos ||
        serverName.find_first_of(kNowhere) != std::string_view::npos) {
        return {};
    }
    // A recorder's line end or other control characters are no name either.
    for (const char c : serverName) {
        if (static_cast<unsigned char>(c) < 0x20) {
            return {};
        }
    }
    return std::string(serverName);
}

std::string MakeSnapshotName(const std::string& folder, std::string_view serverName, unsigned uCamera,
                             const std::tm& now, SnapshotFormat format,
                             const std::function<bool(const std::string&)>& exists) {
    const std::string place = folder.ends_with('/') ? folder : folder + "/";
    const std::string time = FormatText("%04d-%02d-%02d-%02d-%02d-%02d", now.tm_year + 1900, now.tm_mon + 1,
                                        now.tm_mday, now.tm_hour, now.tm_min, now.tm_sec);
    std::string path = place + LegalNamePart(serverName) +
                       FormatText(" - Camera %u %s.%s", uCamera, time.c_str(), SnapshotExtension(format));
    constexpr int kMaxTries = 10000;
    for (int i = 1; exists(path) && i < kMaxTries; ++i) {
        path = place + FormatText("Camera %u %s(%d).%s", uCamera, time.c_str(), i, SnapshotExtension(format));
    }
    return path;
}

std::string SnapshotNames::Make(const std::string& folder, std::string_view serverName, unsigned uCamera,
                                const std::tm& now, SnapshotFormat format,
                                const std::function<bool(const std::string&)>& exists) {
    if (now.tm_sec != m_second.tm_sec || now.tm_min != m_second.tm_min || now.tm_hour != m_second.tm_hour) {
        m_given.clear();
        m_second = now;
    }
    m_given.push_back(
        MakeSnapshotName(folder, serverName, uCamera, now, format, [&](const std::string& path) {
            return std::find(m_given.begin(), m_given.end(), path) != m_given.end() || exists(path);
        }));
    return m_given.back();
}

}  // namespace kvmon
