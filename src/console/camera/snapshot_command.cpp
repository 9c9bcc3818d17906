#include "console/camera/snapshot_command.h"

#include <QtCore/QUrl>
#include <QtGui/QDesktopServices>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QMessageBox>

#include "channel/camera/base_camera.h"
#include "channel/cell/channel_view.h"
#include "channel/cell/video_wnd.h"
#include "console/camera/snapshot_gallery.h"
#include "console/dialogs/message_box.h"
#include "console/ports/client_site.h"
#include "console/ports/desk.h"
#include "console/settings/console_settings.h"
#include "console/wall/active_camera.h"
#include "console/wall/cell_flash.h"
#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "persist/string_table.h"
#include "platform/clock.h"
#include "platform/text.h"
#include "server/recorder_list.h"
#include "skin/plain_text.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrWarning = 5026;
constexpr std::uint32_t kStrNotice = 6300;
constexpr std::uint32_t kStrDoNotShowAgain = 6301;
constexpr const char* kNoticeFlag = "DisableWin64Notify";

std::tm LocalTime(std::chrono::system_clock::time_point now, std::int64_t offsetSeconds) {
    const std::time_t time = std::chrono::system_clock::to_time_t(now) + offsetSeconds;
    std::tm local{};
    ::localtime_r(&time, &local);
    return local;
}

}  // namespace

SnapshotCommand::SnapshotCommand(Desk& desk, const ActiveCamera& active, const ConsoleSettings& settings,
                                 FeedbackLine& feedback, CellFlash& flash, ClientSite& site, Clock& clock)
    : m_desk(desk),
      m_active(active),
      m_settings(settings),
      m_flash(flash),
      m_site(site),
      m_clock(clock),
      m_news(desk, feedback, site),
      m_writer(
          [this](const SnapshotOrder& order, const SnapshotFailure& failure) { OnEnded(order, failure); }),
      m_kept([this](bool bNewest) { OnKept(bNewest); }) {
    m_news.SetGallery([this] { OpenGallery(); });
    m_news.SetSaveAs([this](const SnapshotOrder& order) { AskAndSave(order); });
}

void SnapshotCommand::Take(bool bLowIntegrity) {
    if (bLowIntegrity && Registry().GetProfileInt({}, kNoticeFlag, 0) == 0) {
        ShowNotice();
    } else {
        TakeActive(bLowIntegrity);
    }
}

void SnapshotCommand::ShowNotice() {
    auto* const box = new QMessageBox(
        QMessageBox::Information, QString::fromStdString(LoadString(kStrWarning)),
        MarkupOf(LoadString(kStrNotice)), QMessageBox::Ok | QMessageBox::Cancel, m_desk.DialogHost());
    auto* const check = new QCheckBox(QString::fromStdString(LoadString(kStrDoNotShowAgain)), box);
    box->setCheckBox(check);
    QObject::connect(box, &QDialog::finished, &m_desk.Window(), [this, box, check] {
        Registry().WriteProfileInt({}, kNoticeFlag, check->isChecked() ? 1 : 0);
        if (box->standardButton(box->clickedButton()) == QMessageBox::Ok) {
            TakeActive(true);
        }
    });
    OpenDialog(box);
}

void SnapshotCommand::TakeActive(bool bLowIntegrity) {
    const auto camera = m_active.Camera();
    if (!camera) {
        return;
    }
    if (!camera->IsKept()) {
        TakeNewest(bLowIntegrity);
        return;
    }
    // By a page's call, or a key that reaches a window nobody sees.
    m_keptOf = camera;
    m_bKeptLowIntegrity = bLowIntegrity;
    m_kept.WaitFor(*camera);
}

// A picture of a stream that stands still is as new as there is one; that of a stream which goes on is not.
void SnapshotCommand::OnKept(bool bNewest) {
    const auto camera = m_keptOf.lock();
    if (!camera || camera != m_active.Camera()) {
        return;
    }
    if (bNewest || !camera->IsLive()) {
        TakeNewest(m_bKeptLowIntegrity);
    } else {
        TellNoPicture(m_bKeptLowIntegrity);
    }
}

void SnapshotCommand::TellNoPicture(bool bLowIntegrity) {
    m_news.TellFailure({{}, m_clock.Now(), {}, SnapshotFormat::Jpeg, bLowIntegrity},
                       {SnapshotStep::Picture, 0});
}

void SnapshotCommand::TakeNewest(bool bLowIntegrity) {
    const auto camera = m_active.Camera();
    if (!camera) {
        return;
    }
    const CKelvaraInfo* const server = m_active.Server();
    if (server == nullptr) {
        return;
    }
    // All of these are taken at the click, as a dialog may stay open for long.
    const ConsoleOptions& options = m_settings.options;
    const Time now = m_clock.Now();
    const std::string stamp =
        options.bShowSnapshotTimeStamp ? GetSnapshotTimeStamp(*camera, *server, now) : std::string();
    CVideoWnd* const cell = m_active.Cell();
    auto picture = !cell->isHidden() ? cell->View().TakeSnapshot(stamp) : std::nullopt;
    if (!picture) {
        TellNoPicture(bLowIntegrity);
        return;
    }
    m_flash.Start(*cell);
    SnapshotOrder order{std::make_shared<const Snapshot>(std::move(*picture)),
                        now,
                        {},
                        options.bSaveSnapshotAsJpeg ? SnapshotFormat::Jpeg : SnapshotFormat::Bmp,
                        bLowIntegrity};
    if (bLowIntegrity) {
        order.path = FormatText("%s/~snapshot.%s", GetDataFolder().c_str(), SnapshotExtension(order.format));
        m_writer.Write(order);
        return;
    }
    order.path = m_names.Make(options.strSnapshotFolder, server->GetServerName(),
                              camera->GetCHInKelvara() + 1, LocalTime(now, 0), order.format, FileExists);
    if (options.bManualInputSnapshotFilename) {
        m_writer.Fetch(order, [this](const SnapshotOrder& read) { AskAndSave(read); });
    } else {
        m_writer.Write(order);
    }
}

std::string SnapshotCommand::GetSnapshotTimeStamp(const CBaseCamera& camera, const CKelvaraInfo& server,
                                                  Time now) const {
    std::string strTimeStamp;
    if (server.IsServerTimeKnown()) {
        const std::tm time = LocalTime(now, server.GetServerTimeOffset());
        char text[64];
        const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &time);
        strTimeStamp = camera.GetCameraName() + " " + std::string(text, length);
    }
    Trace("CMainDlg::GetSnapshotTimeStamp: strTimeStamp=%s...\n", strTimeStamp.c_str());
    return strTimeStamp;
}

void SnapshotCommand::OnEnded(const SnapshotOrder& order, const SnapshotFailure& failure) {
    if (failure) {
        m_news.TellFailure(order, failure);
        return;
    }
    if (m_gallery) {
        m_gallery->Load();
    }
    if (order.bOpenAfter) {
        m_desk.MakeRoom();
        QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(order.path)));
    } else {
        m_news.TellSaved(order);
    }
}

void SnapshotCommand::OpenGallery() {
    if (!m_site.HasDesktop()) {
        return;
    }
    if (!m_gallery) {
        m_gallery = new SnapshotGallery(m_settings.options.strSnapshotFolder, m_clock, m_desk.DialogHost());
        m_gallery->SetLeaves([this] { m_desk.MakeRoom(); });
        OpenDialog(m_gallery);
    }
    m_gallery->raise();
    m_gallery->activateWindow();
}

void SnapshotCommand::AskAndSave(const SnapshotOrder& order) {
    auto* const dialog = new QFileDialog(
        m_desk.DialogHost(), QString::fromStdString(LoadString(2614)), QString::fromStdString(order.path),
        order.format == SnapshotFormat::Jpeg ? QStringLiteral("JPEG(*.jpg)")
                                             : QStringLiteral("Bitmap files(*.bmp)"));
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(QString::fromLatin1(SnapshotExtension(order.format)));
    dialog->selectFile(QString::fromStdString(order.path));
    QObject::connect(dialog, &QFileDialog::fileSelected, &m_desk.Window(),
                     [this, order](const QString& file) {
                         SnapshotOrder chosen = order;
                         chosen.path = file.toStdString();
                         m_writer.Write(chosen);
                     });
    OpenDialog(dialog);
}

}  // namespace kvmon
