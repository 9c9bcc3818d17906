#include "console/camera/snapshot_folder.h"

#include <QtCore/QDirIterator>
#include <QtCore/QFileInfo>
#include <QtGui/QImageReader>
#include <algorithm>

namespace kvmon {

namespace {

constexpr std::size_t kMostLooked = 20000;  // entries of a folder that was chosen badly

}  // namespace

std::vector<SnapshotFile> ListSnapshots(const QString& folder, const QDate& day,
                                        const std::atomic<bool>& stop) {
    std::vector<SnapshotFile> files;
    QDirIterator entries(folder, {QStringLiteral("*.jpg"), QStringLiteral("*.bmp")},
                         QDir::Files | QDir::Readable);
    for (std::size_t i = 0; i < kMostLooked && entries.hasNext() && !stop; ++i) {
        const QString path = entries.next();
        const QDateTime taken = entries.fileInfo().lastModified();
        if (taken.date() == day) {
            files.push_back({path, taken});
        }
    }
    std::sort(files.begin(), files.end(), [](const SnapshotFile& a, const SnapshotFile& b) {
        return a.taken != b.taken ? a.taken > b.taken : a.path > b.path;
    });
    files.resize(std::min(files.size(), kMostSnapshots));
    return files;
}

// JPEG is decoded at a fraction of its size.
QImage LoadThumbnail(const QString& path, double scale) {
    QImageReader reader(path);
    const QSize size = reader.size();
    const QSize most = (QSizeF(kThumbnailSize) * scale).toSize();
    if (size.isValid() && (size.width() > most.width() || size.height() > most.height())) {
        reader.setScaledSize(size.scaled(most, Qt::KeepAspectRatio).expandedTo({1, 1}));
    }
    QImage image = reader.read();
    image.setDevicePixelRatio(scale);
    return image;
}

}  // namespace kvmon
