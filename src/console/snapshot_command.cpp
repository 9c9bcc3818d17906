#include "console/snapshot_command.h"

#include <QtWidgets/QCheckBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QMessageBox>

#include "channel/base_camera.h"
#include "channel/channel_view.h"
#include "channel/video_wnd.h"
#include "console/main_dlg.h"
#include "console/message_box.h"
#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "persist/string_table.h"
#include "platform/clock.h"
#include "platform/text.h"
#include "server/kelvara_info.h"
#include "skin/plain_text.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrError = 4005;
constexpr std::uint32_t kStrWarning = 5026;
constexpr std::uint32_t kStrNotice = 6300;
constexpr std::uint32_t kStrDoNotShowAgain = 6301;
constexpr const char* kNoticeFlag = "DisableWin64Notify";

std::tm LocalTime(std::int64_t offsetSeconds) {
    const std::time_t time = std::chrono::system_clock::to_time_t(SystemClock().Now()) + offsetSeconds;
    std::tm local{};
    ::localtime_r(&time, &local);
    return local;
}

}  // namespace

void SnapshotCommand::Take(bool bLowIntegrity) {
    if (bLowIntegrity && Registry().GetProfileInt({}, kNoticeFlag, 0) == 0) {
        ShowNotice();
    } else {
        TakeActive(bLowIntegrity);
    }
}

void SnapshotCommand::ShowNotice() {
    auto* const box =
        new QMessageBox(QMessageBox::Information, QString::fromStdString(LoadString(kStrWarning)),
                        MarkupOf(LoadString(kStrNotice)), QMessageBox::Ok | QMessageBox::Cancel,
                        m_dlg.Screens().DialogHost());
    auto* const check = new QCheckBox(QString::fromStdString(LoadString(kStrDoNotShowAgain)), box);
    box->setCheckBox(check);
    QObject::connect(box, &QDialog::finished, &m_dlg, [this, box, check] {
        Registry().WriteProfileInt({}, kNoticeFlag, check->isChecked() ? 1 : 0);
        if (box->standardButton(box->clickedButton()) == QMessageBox::Ok) {
            TakeActive(true);
        }
    });
    OpenDialog(box);
}

void SnapshotCommand::TakeActive(bool bLowIntegrity) {
    const auto camera = m_dlg.View().Cells().GetActiveCamera();
    if (!camera) {
        return;
    }
    const int channel = m_dlg.Cameras().FindChannel(camera.get());
    const CKelvaraInfo* const server = GetServer(m_dlg.Cameras().Get(channel).server);
    if (server == nullptr) {
        return;
    }
    const ConsoleOptions& options = m_dlg.Options();
    Order order{camera, {}, {}, options.bSaveSnapshotAsJpeg, bLowIntegrity};
    if (options.bShowSnapshotTimeStamp) {
        order.stamp = GetSnapshotTimeStamp(*camera, *server);
    }
    if (bLowIntegrity) {
        order.path = FormatText("%s/~snapshot.%s", GetDataFolder().c_str(), order.bJpeg ? "jpg" : "bmp");
        Save(order);
        return;
    }
    order.path = m_names.Make(options.strSnapshotFolder, server->GetServerName(),
                              camera->GetCHInKelvara() + 1, LocalTime(0), order.bJpeg, FileExists);
    if (options.bManualInputSnapshotFilename) {
        AskAndSave(std::move(order));
    } else {
        Save(order);
    }
}

std::string SnapshotCommand::GetSnapshotTimeStamp(const CBaseCamera& camera,
                                                  const CKelvaraInfo& server) const {
    std::string strTimeStamp;
    if (server.IsServerTimeKnown()) {
        const std::tm time = LocalTime(server.GetServerTimeOffset());
        char text[64];
        const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &time);
        strTimeStamp = camera.GetCameraName() + " " + std::string(text, length);
    }
    Trace("CMainDlg::GetSnapshotTimeStamp: strTimeStamp=%s...\n", strTimeStamp.c_str());
    return strTimeStamp;
}

void SnapshotCommand::AskAndSave(Order order) {
    auto* const dialog =
        new QFileDialog(m_dlg.Screens().DialogHost(), QString::fromStdString(LoadString(2614)),
                        QString::fromStdString(order.path),
                        order.bJpeg ? QStringLiteral("JPEG(*.jpg)") : QStringLiteral("Bitmap files(*.bmp)"));
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(order.bJpeg ? QStringLiteral("jpg") : QStringLiteral("bmp"));
    dialog->selectFile(QString::fromStdString(order.path));
    QObject::connect(dialog, &QFileDialog::fileSelected, &m_dlg, [this, order](const QString& file) {
        Order chosen = order;
        chosen.path = file.toStdString();
        Save(chosen);
    });
    OpenDialog(dialog);
}

void SnapshotCommand::Save(const Order& order) {
    // The view may have changed while a dialog asked.
    CVideoWnd* const cell = m_dlg.View().Cells().FindByCamera(order.camera.lock().get());
    if (cell == nullptr ||
        !cell->View().SaveSnapshot(order.path, order.bJpeg, order.stamp, order.bOpenAfter)) {
        m_dlg.ShowMessage(SnapshotFailedText(), LoadString(kStrError));
    }
}

}  // namespace kvmon
