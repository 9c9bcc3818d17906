#include "console/camera/snapshot_news.h"

#include <QtCore/QFileInfo>
#include <QtCore/QUrl>
#include <QtGui/QClipboard>
#include <QtGui/QDesktopServices>
#include <QtGui/QGuiApplication>
#include <QtGui/QImage>
#include <cerrno>

#include "console/ports/client_site.h"
#include "console/ports/desk.h"
#include "console/settings/fill_pattern.h"
#include "console/wall/feedback_line.h"
#include "persist/string_table.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrError = 4005;
constexpr std::uint32_t kStrFailed = 57426;
constexpr std::uint32_t kStrSaved = 7400;
constexpr std::uint32_t kStrOpenFolder = 7401;
constexpr std::uint32_t kStrCopy = 7402;
constexpr std::uint32_t kStrToday = 7411;
constexpr std::uint32_t kStrSaveAs = 7404;
constexpr std::uint32_t kStrDiskFull = 7405;
constexpr std::uint32_t kStrNoRight = 7406;
constexpr std::uint32_t kStrNoFolder = 7407;
constexpr std::uint32_t kStrNotWritten = 7408;
constexpr std::uint32_t kStrNoPicture = 7409;
constexpr std::uint32_t kStrTooMany = 7410;

std::string FolderOf(const SnapshotOrder& order) {
    return QFileInfo(QString::fromStdString(order.path)).path().toStdString();
}

// In words that a user can do something with.
std::string FailureWords(const SnapshotOrder& order, const SnapshotFailure& failure) {
    const std::string folder = FolderOf(order);
    if (failure.step == SnapshotStep::Picture) {
        return LoadString(kStrNoPicture);
    }
    if (failure.step == SnapshotStep::Queue) {
        return LoadString(kStrTooMany);
    }
    switch (failure.nError) {
        case ENOSPC:
        case EDQUOT:
            return FillPattern(LoadString(kStrDiskFull), {folder});
        case EACCES:
        case EPERM:
        case EROFS:
            return FillPattern(LoadString(kStrNoRight), {folder});
        case ENOENT:
        case ENOTDIR:
            return FillPattern(LoadString(kStrNoFolder), {folder});
        default:
            return FillPattern(LoadString(kStrNotWritten), {folder});
    }
}

}  // namespace

void CopyPicture(const Snapshot& picture) {
    const PictureView view = ViewOfBitmap(picture.info, picture.bits.data());
    QImage image(view.width, view.height, QImage::Format_RGB32);
    if (view.IsEmpty() || image.isNull()) {
        return;
    }
    const int bytes = picture.info.biBitCount / 8;
    for (int y = 0; y < view.height; ++y) {
        const std::uint8_t* from = view.data[0] + y * view.stride[0];
        auto* const to = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < view.width; ++x, from += bytes) {
            to[x] = qRgb(from[2], from[1], from[0]);
        }
    }
    QGuiApplication::clipboard()->setImage(image);
}

void SnapshotNews::TellSaved(const SnapshotOrder& order) {
    std::vector<FeedbackLink> links;
    if (m_site.HasDesktop()) {
        links.push_back({LoadString(kStrOpenFolder), [this, folder = FolderOf(order)] {
                             m_desk.MakeRoom();
                             QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(folder)));
                         }});
        links.push_back({LoadString(kStrCopy), [picture = order.picture] { CopyPicture(*picture); }});
        if (m_gallery) {
            links.push_back({LoadString(kStrToday), m_gallery});
        }
    }
    const std::string name = QFileInfo(QString::fromStdString(order.path)).fileName().toStdString();
    m_feedback.Say(FillPattern(LoadString(kStrSaved), {name}), std::move(links));
}

void SnapshotNews::TellFailure(const SnapshotOrder& order, const SnapshotFailure& failure) {
    // Users have always been told no number for a file whose name the program chose.
    const SnapshotFailure told = order.bOpenAfter ? SnapshotFailure{} : failure;
    const std::string words = FailureWords(order, failure);
    m_desk.ShowMessage(FillPattern(LoadString(kStrFailed), {std::to_string(static_cast<int>(told.step)),
                                                            std::to_string(told.nError)}) +
                           "\n\n" + words,
                       LoadString(kStrError));
    if (!order.picture) {
        return;
    }
    std::vector<FeedbackLink> links;
    if (m_saveAs && !order.bOpenAfter) {
        links.push_back({LoadString(kStrSaveAs), [ask = m_saveAs, order] { ask(order); }});
    }
    if (m_site.HasDesktop()) {
        links.push_back({LoadString(kStrCopy), [picture = order.picture] { CopyPicture(*picture); }});
    }
    m_feedback.Say(words, std::move(links), kFeedbackFaultTime);
}

}  // namespace kvmon
