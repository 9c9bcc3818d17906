#include "console/camera/snapshot_news.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QUrl>
#include <QtGui/QClipboard>
#include <QtGui/QDesktopServices>
#include <QtGui/QGuiApplication>
#include <QtGui/QImage>
#include <cerrno>
#include <cstdlib>

#include "console/ports/client_site.h"
#include "console/ports/desk.h"
#include "console/settings/fill_pattern.h"
#include "console/wall/feedback_line.h"
#include "persist/string_table.h"
#include "platform/caught.h"

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
constexpr std::uint32_t kStrNotOpened = 7420;
constexpr qint64 kMostGiven = 64 << 20;  // bytes
constexpr Milliseconds kLastMoment{3000};

std::string FolderOf(const SnapshotOrder& order) {
    return QFileInfo(QString::fromStdString(order.path)).path().toStdString();
}

std::string FileNameOf(const SnapshotOrder& order) {
    return QFileInfo(QString::fromStdString(order.path)).fileName().toStdString();
}

// Nothing for what no page could take.
std::vector<std::uint8_t> ReadPicture(const std::string& path) {
    QFile file(QString::fromStdString(path));
    if (!file.open(QIODevice::ReadOnly) || file.size() > kMostGiven) {
        return {};
    }
    const QByteArray bytes = file.read(kMostGiven);
    return {bytes.begin(), bytes.end()};
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
    if (view.IsEmpty()) {
        return;
    }
    // Rows may run from the bottom up; the toolkit's only run down.
    const auto stride = static_cast<int>(view.stride[0]);
    const bool bUp = stride < 0;
    const std::uint8_t* const first =
        view.data[0] + (bUp ? static_cast<std::ptrdiff_t>(view.height - 1) * stride : 0);
    const QImage image(first, view.width, view.height, std::abs(stride),
                       picture.info.biBitCount == 32 ? QImage::Format_RGB32 : QImage::Format_BGR888);
    QGuiApplication::clipboard()->setImage(
        (bUp ? image.mirrored() : image.copy()).convertToFormat(QImage::Format_RGB32));
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
    if (m_site.TakesPictures()) {
        links = LinksForPage(order);
    }
    m_feedback.Say(FillPattern(LoadString(kStrSaved), {FileNameOf(order)}), std::move(links));
}

// The folder is the host's, and others' pictures may be in it: the page gets what its own user has just
// taken.
std::vector<FeedbackLink> SnapshotNews::LinksForPage(const SnapshotOrder& order) {
    return {{LoadString(kStrSaveAs), [this, order] { Give(order, GivenPicture::Use::Save); }},
            {LoadString(kStrCopy), [this, order] { Give(order, GivenPicture::Use::Copy); }}};
}

// A thread reads the file, whose folder may be another machine's. While one is read a further click does
// nothing.
void SnapshotNews::Give(const SnapshotOrder& order, GivenPicture::Use use) {
    m_reader.Start("snapshot-page",
                   [this, alive = std::weak_ptr(m_alive), path = order.path, name = FileNameOf(order), use] {
                       GivenPicture picture{use, name, {}};
                       TryStep("SnapshotNews::Give", [&] { picture.bytes = ReadPicture(path); });
                       QMetaObject::invokeMethod(
                           qApp,
                           [this, alive, picture = std::move(picture)]() mutable {
                               if (alive.expired()) {
                                   return;
                               }
                               m_reader.Wait(kLastMoment);  // this was the last thing it did
                               if (picture.bytes.empty()) {
                                   m_feedback.Say(LoadString(kStrNotOpened), {}, kFeedbackFaultTime);
                               } else {
                                   m_site.GivePicture(std::move(picture));
                               }
                           },
                           Qt::QueuedConnection);
                   });
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
