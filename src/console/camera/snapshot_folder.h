// The snapshots of a day, as small pictures: read beside the user interface.
#pragma once

#include <QtCore/QDate>
#include <QtCore/QDateTime>
#include <QtCore/QSize>
#include <QtCore/QString>
#include <QtGui/QImage>
#include <atomic>
#include <functional>
#include <vector>

namespace kvmon {

inline constexpr std::size_t kMostSnapshots = 200;  // shown; the newest
inline constexpr QSize kThumbnailSize(160, 120);

struct SnapshotFile {
    QString path;
    QDateTime taken;
};

// Pictures of the folder that are of this day, the newest first. Any thread; takes the disk's time.
std::vector<SnapshotFile> ListSnapshots(const QString& folder, const QDate& day,
                                        const std::atomic<bool>& stop);
// At most of kThumbnailSize, on a screen of so many device pixels to a unit; null for a file that is no
// picture. Any thread.
QImage LoadThumbnail(const QString& path, double scale);

}  // namespace kvmon
