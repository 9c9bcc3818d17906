// Files of the named views, read and written by a thread: a share that is gone may hang.
#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QPointer>
#include <QtCore/QSaveFile>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QPushButton>

#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/message_box.h"
#include "console/views/view_file.h"
#include "console/views/view_list.h"
#include "console/views/views_dialog.h"
#include "platform/caught.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrNoViews = 7112;
constexpr std::uint32_t kStrNewer = 7113;
constexpr std::uint32_t kStrNotRead = 7114;
constexpr std::uint32_t kStrNotWritten = 7115;
constexpr std::uint32_t kStrTooManyInFile = 7116;
constexpr std::uint32_t kStrWriting = 7450;
constexpr std::uint32_t kStrReading = 7451;
constexpr std::uint32_t kStrStopped = 7452;
constexpr Milliseconds kLastMoment{3000};
const QString kPattern = QStringLiteral("kvmon (*.kvviews)");

std::optional<QByteArray> ReadFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    const QByteArray text = file.read(kMaxViewFile + 1);
    return file.error() == QFileDevice::NoError ? std::optional(text) : std::nullopt;
}

bool WriteFile(const QString& path, const QByteArray& text) {
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.commit();
}

}  // namespace

void ViewsDialog::BeginFile(std::uint32_t text) {
    m_import->setEnabled(false);
    m_export->setEnabled(false);
    m_stop->show();
    Tell(text);
}

void ViewsDialog::EndFile() {
    m_import->setEnabled(true);
    m_stop->hide();
    Tell(0);
    UpdateButtons();
}

// A file that is being read or written on a share that is gone: whatever becomes of it is not heard of.
void ViewsDialog::StopFile() {
    ++m_nWork;
    m_worker.Abandon();
    EndFile();
    Tell(kStrStopped);
}

void ViewsDialog::Import() {
    auto* const dialog = new QFileDialog(this, m_import->text(), {}, kPattern);
    dialog->setFileMode(QFileDialog::ExistingFile);
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& path) {
        const bool bStarted = m_worker.Start("kv-views", [path, work = ++m_nWork, self = QPointer(this)] {
            std::optional<QByteArray> text;
            TryStep("ViewsDialog::Import", [&] { text = ReadFile(path); });
            QMetaObject::invokeMethod(
                qApp,
                [self, work, text] {
                    if (self && self->m_nWork == work) {
                        self->OnRead(text);
                    }
                },
                Qt::QueuedConnection);
        });
        if (bStarted) {
            BeginFile(kStrReading);
        } else {
            Tell(kStrNotRead);
        }
    });
    OpenDialog(dialog);
}

void ViewsDialog::OnRead(const std::optional<QByteArray>& text) {
    m_worker.Wait(kLastMoment);  // this was the last thing it did
    EndFile();
    if (!text) {
        Tell(kStrNotRead);
        return;
    }
    ParsedViews parsed = ReadViews(*text);
    const int first = static_cast<int>(m_views.size());
    if (parsed.fault == ViewFileFault::Newer) {
        Tell(kStrNewer);
    } else if (parsed.fault == ViewFileFault::NoViews ||
               (parsed.views.empty() && parsed.fault == ViewFileFault::None)) {
        Tell(kStrNoViews);
    } else if (parsed.fault == ViewFileFault::TooMany || !AddViews(m_views, std::move(parsed.views))) {
        Tell(kStrTooManyInFile, std::to_string(kMaxViews));
    } else {
        Tell(0);
        Fill(first);
    }
}

void ViewsDialog::Export() {
    auto* const dialog = new QFileDialog(this, m_export->text(), QStringLiteral("views.kvviews"), kPattern);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(QStringLiteral("kvviews"));
    dialog->selectFile(QStringLiteral("views.kvviews"));
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& path) {
        const bool bStarted = m_worker.Start(
            "kv-views", [path, text = WriteViews(m_views), work = ++m_nWork, self = QPointer(this)] {
                bool bWritten = false;
                TryStep("ViewsDialog::Export", [&] { bWritten = WriteFile(path, text); });
                QMetaObject::invokeMethod(
                    qApp,
                    [self, work, bWritten] {
                        if (self && self->m_nWork == work) {
                            self->OnWritten(bWritten);
                        }
                    },
                    Qt::QueuedConnection);
            });
        if (bStarted) {
            BeginFile(kStrWriting);
        } else {
            Tell(kStrNotWritten);
        }
    });
    OpenDialog(dialog);
}

void ViewsDialog::OnWritten(bool bWritten) {
    m_worker.Wait(kLastMoment);
    EndFile();
    Tell(bWritten ? 0 : kStrNotWritten);
}

}  // namespace kvmon
