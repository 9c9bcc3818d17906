#include "channel/picture/snapshot.h"

#include <sys/stat.h>

#include <QtGui/QFontDatabase>
#include <QtGui/QFontMetrics>
#include <QtGui/QImage>
#include <QtGui/QPainter>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "channel/picture/captions.h"
#include "codec/jpeg_codec.h"
#include "persist/utilities.h"
#include "platform/whole_file.h"

namespace kvmon {

namespace {

constexpr int kSnapshotQuality = 100;
constexpr int kStampPlace = 1;
constexpr int kPlateBeyond = 4;
constexpr int kStampHeight = 15;

void Put(std::vector<std::uint8_t>& out, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
}

// How much of the text covers each pixel, 0 to 255.
QImage DrawStamp(const QString& text, int longest) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPixelSize(kStampHeight);
    const QFontMetrics metrics(font);
    QImage image(std::clamp(metrics.horizontalAdvance(text), 1, longest), metrics.height(),
                 QImage::Format_Grayscale8);
    if (image.isNull()) {
        return image;
    }
    image.fill(Qt::black);
    QPainter painter(&image);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(0, metrics.ascent(), text);
    return image;
}

// Yellow over the pixel.
void Stamp(std::uint8_t* pixel, int cover) {
    constexpr int kYellow[3] = {0, 255, 255};
    for (int i = 0; i < 3; ++i) {
        pixel[i] = static_cast<std::uint8_t>((pixel[i] * (255 - cover) + kYellow[i] * cover) / 255);
    }
}

}  // namespace

std::vector<std::uint8_t> MakeBitmapFile(const BITMAPINFOHEADER& info, std::span<const std::uint8_t> bits) {
    std::vector<std::uint8_t> file;
    file.reserve(kBitmapFileHead + bits.size());
    file.push_back('B');
    file.push_back('M');
    Put(file, kBitmapFileHead + static_cast<std::uint32_t>(bits.size()), 4);
    Put(file, 0, 4);
    Put(file, kBitmapFileHead, 4);
    Put(file, info.biSize, 4);
    Put(file, static_cast<std::uint32_t>(info.biWidth), 4);
    Put(file, static_cast<std::uint32_t>(info.biHeight), 4);
    Put(file, info.biPlanes, 2);
    Put(file, info.biBitCount, 2);
    Put(file, info.biCompression, 4);
    Put(file, info.biSizeImage, 4);
    Put(file, static_cast<std::uint32_t>(info.biXPelsPerMeter), 4);
    Put(file, static_cast<std::uint32_t>(info.biYPelsPerMeter), 4);
    Put(file, info.biClrUsed, 4);
    Put(file, info.biClrImportant, 4);
    file.insert(file.end(), bits.begin(), bits.end());
    return file;
}

void AddStringOnBitmapImage(Snapshot& snapshot, const std::string& text) {
    const PictureView view = ViewOfBitmap(snapshot.info, snapshot.bits.data());
    if (text.empty() || view.IsEmpty()) {
        return;
    }
    const QImage stamp = DrawStamp(QString::fromStdString(DisplayLine(text)), view.width);
    const int bytes = snapshot.info.biBitCount / 8;
    const int right = std::min(kStampPlace + stamp.width() + kPlateBeyond, view.width);
    const int bottom = std::min(kStampPlace + stamp.height(), view.height);
    std::uint8_t* const top = snapshot.bits.data() + (view.data[0] - snapshot.bits.data());
    for (int y = kStampPlace; y < bottom; ++y) {
        std::uint8_t* const row = top + std::ptrdiff_t{y} * view.stride[0];
        const std::uint8_t* const cover = stamp.constScanLine(y - kStampPlace);
        for (int x = kStampPlace; x < right; ++x) {
            std::uint8_t* const pixel = row + std::ptrdiff_t{x} * bytes;
            for (int i = 0; i < 3; ++i) {
                pixel[i] /= 2;
            }
            if (x - kStampPlace < stamp.width()) {
                Stamp(pixel, cover[x - kStampPlace]);
            }
        }
    }
}

Snapshot MakeSnapshot(const PictureView& view) {
    Snapshot snapshot{MakeBitmapInfo(view.width, view.height), {}};
    snapshot.bits.resize(snapshot.info.biSizeImage);
    const auto stride = static_cast<std::ptrdiff_t>(BitmapStride(view.width));
    ConvertToBgr(view, snapshot.bits.data() + stride * (view.height - 1), -stride);
    return snapshot;
}

void CompleteSnapshot(Snapshot& snapshot) {
    const auto whole = std::move(snapshot.whole);
    DecodedPicture picture;
    if (whole && whole->Read(picture)) {
        Snapshot complete = MakeSnapshot(picture.View());
        AddStringOnBitmapImage(complete, snapshot.stamp);
        snapshot = std::move(complete);
    }
}

SnapshotFailure WriteSnapshot(const Snapshot& snapshot, const std::string& path, SnapshotFormat format,
                              std::chrono::system_clock::time_point taken) {
    const std::string folder = std::filesystem::path(path).parent_path().string();
    if (!folder.empty() && !IsFolder(folder) && !CreateFolder(folder)) {
        ::mkdir(folder.c_str(), 0700);  // for its reason alone
        return {SnapshotStep::Folder, errno};
    }
    std::vector<std::uint8_t> file;
    if (format == SnapshotFormat::Bmp) {
        file = MakeBitmapFile(snapshot.info, snapshot.bits);
    } else if (SaveJpegMemory(file, snapshot.info, snapshot.bits, kSnapshotQuality, true) != nullptr) {
        return {SnapshotStep::Coding, 0};
    }
    // A user may have thought about the name for a while.
    if (!SaveWholeFile(path, file, taken)) {
        return {SnapshotStep::File, errno};
    }
    return {};
}

}  // namespace kvmon
