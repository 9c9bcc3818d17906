#include "console/snapshot_command.h"

#include <QtWidgets/QFileDialog>

#include "channel/base_camera.h"
#include "channel/channel_view.h"
#include "channel/video_wnd.h"
#include "console/main_dlg.h"
#include "console/snapshot_name.h"
#include "persist/string_table.h"
#include "persist/utilities.h"
#include "platform/clock.h"
#include "server/kelvara_info.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrError = 4005;

std::tm LocalNow() {
    const std::time_t now = std::chrono::system_clock::to_time_t(SystemClock().Now());
    std::tm local{};
    ::localtime_r(&now, &local);
    return local;
}

void Save(CMainDlg& dlg, CVideoWnd& cell, const std::string& path, bool bJpeg) {
    if (cell.View().SaveSnapshot(path, bJpeg, {}, false)) {
        return;
    }
    dlg.ShowMessage(SnapshotFailedText(), LoadString(kStrError));
}

void AskAndSave(CMainDlg& dlg, CVideoWnd& cell, const std::string& path, bool bJpeg) {
    auto* const dialog = new QFileDialog(&dlg, {}, QString::fromStdString(path),
                                         bJpeg ? "JPEG(*.jpg)" : "Bitmap files(*.bmp)");
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->selectFile(QString::fromStdString(path));
    // The dialog waits for nobody; the cell lives as long as the console that owns both.
    QObject::connect(dialog, &QFileDialog::fileSelected, &cell, [&dlg, &cell, bJpeg](const QString& file) {
        Save(dlg, cell, file.toStdString(), bJpeg);
    });
    dialog->open();
}

}  // namespace

void TakeSnapshot(CMainDlg& dlg) {
    CVideoWnd* const cell = dlg.View().Cells().GetActive();
    const auto camera = dlg.View().Cells().GetActiveCamera();
    if (cell == nullptr || !camera) {
        return;
    }
    const int channel = dlg.Cameras().FindChannel(camera.get());
    const CKelvaraInfo* const server = GetServer(dlg.Cameras().Get(channel).server);
    if (server == nullptr) {
        return;
    }
    const ConsoleOptions& options = dlg.Options();
    const bool bJpeg = options.bSaveSnapshotAsJpeg;
    const std::string path = MakeSnapshotName(options.strSnapshotFolder, server->GetServerName(),
                                              camera->GetCHInKelvara() + 1, LocalNow(), bJpeg, FileExists);
    if (options.bManualInputSnapshotFilename) {
        AskAndSave(dlg, *cell, path, bJpeg);
    } else {
        Save(dlg, *cell, path, bJpeg);
    }
}

}  // namespace kvmon
