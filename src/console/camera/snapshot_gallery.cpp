#include "console/camera/snapshot_gallery.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QLocale>
#include <QtCore/QPointer>
#include <QtCore/QRegularExpression>
#include <QtCore/QUrl>
#include <QtGui/QClipboard>
#include <QtGui/QDesktopServices>
#include <QtGui/QGuiApplication>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>
#include <utility>

#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/empty_hint.h"
#include "console/panel/console_controls.h"
#include "console/panel/console_keys.h"
#include "console/settings/fill_pattern.h"
#include "persist/plural.h"
#include "persist/string_table.h"
#include "platform/caught.h"
#include "platform/clock.h"
#include "skin/plain_text.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrGallery = 7411;
constexpr std::uint32_t kStrOpen = 7412;
constexpr std::uint32_t kStrCopyPicture = 7402;
constexpr std::uint32_t kStrShow = 7413;
constexpr std::uint32_t kStrDeletePicture = 7414;
constexpr std::uint32_t kStrEmpty = 7415;
constexpr std::uint32_t kStrCount = 7416;
constexpr std::uint32_t kStrReading = 7417;
constexpr std::uint32_t kStrNoTrash = 7418;
constexpr std::uint32_t kStrCopied = 7419;
constexpr std::uint32_t kStrPictureNotOpened = 7420;
constexpr std::uint32_t kStrCloseGallery = 6408;
constexpr int kPathRole = Qt::UserRole;
constexpr int kBetween = 8;  // pictures
constexpr Milliseconds kGalleryLastMoment{3000};

// "Hall - Camera 1" of "Hall - Camera 1 2026-11-26-05-02-46.jpg": the time stands below it.
QString TitleOf(const QString& path) {
    static const QRegularExpression stamp(QStringLiteral(" \\d{4}(-\\d\\d){5}(\\(\\d+\\))?$"));
    QString title = QFileInfo(path).completeBaseName();
    return title.remove(stamp);
}

// Runs later on the interface's thread, if the gallery is still there.
template <typename Call>
void Tell(const QPointer<SnapshotGallery>& gallery, const Call& call) {
    QMetaObject::invokeMethod(
        qApp,
        [gallery, call] {
            if (gallery) {
                call(*gallery);
            }
        },
        Qt::QueuedConnection);
}

}  // namespace

SnapshotGallery::SnapshotGallery(const std::string& folder, Clock& clock, QWidget* parent)
    : QDialog(parent),
      m_folder(QString::fromStdString(folder)),
      m_clock(clock),
      m_list(new QListWidget(this)),
      m_hint(new EmptyHint(*m_list)),
      m_count(new QLabel(this)),
      m_message(MakeMessageLabel(this, 1)) {
    setObjectName(QStringLiteral("snapshotGallery"));
    setWindowTitle(Text(kStrGallery));
    m_list->setObjectName(QStringLiteral("snapshots"));
    m_list->setAccessibleName(Text(kStrGallery));
    m_list->setViewMode(QListView::IconMode);
    m_list->setIconSize(kThumbnailSize);
    const int text = 2 * m_list->fontMetrics().lineSpacing();
    m_list->setGridSize({kThumbnailSize.width() + 20, kThumbnailSize.height() + text + 18});
    m_list->setResizeMode(QListView::Adjust);
    m_list->setMovement(QListView::Static);
    m_list->setUniformItemSizes(true);
    m_list->setTextElideMode(Qt::ElideMiddle);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->installEventFilter(this);
    connect(m_list, &QListWidget::itemSelectionChanged, this, [this] { UpdateWords(); });
    connect(m_list, &QListWidget::itemDoubleClicked, this, [this] { OpenSelected(); });
    m_count->setObjectName(QStringLiteral("count"));
    m_count->setTextFormat(Qt::PlainText);
    m_message->setObjectName(QStringLiteral("message"));
    m_open = AddButton("open", kStrOpen, &SnapshotGallery::OpenSelected);
    m_copy = AddButton("copy", kStrCopyPicture, &SnapshotGallery::CopySelected);
    m_show = AddButton("show", kStrShow, &SnapshotGallery::ShowFolder);
    m_delete = AddButton("delete", kStrDeletePicture, &SnapshotGallery::DeleteSelected);
    auto* const close = new QPushButton(Text(kStrCloseGallery), this);
    close->setAutoDefault(false);
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    auto* const row = new QHBoxLayout;
    for (QPushButton* const button : {m_open, m_copy, m_show, m_delete}) {
        row->addWidget(button);
    }
    row->addStretch();
    row->addWidget(close);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 16, 16, 14);
    layout->setSpacing(10);
    layout->addWidget(m_count);
    layout->addWidget(m_list, 1);
    layout->addWidget(m_message);
    layout->addLayout(row);
    resize(std::max(780, sizeHint().width()), 520);
    m_list->setFocus();
    Load();
}

SnapshotGallery::~SnapshotGallery() {
    if (m_stop) {
        *m_stop = true;
    }
}

QPushButton* SnapshotGallery::AddButton(const char* name, std::uint32_t text,
                                        void (SnapshotGallery::*slot)()) {
    auto* const button = new QPushButton(Text(text), this);
    button->setObjectName(QString(name));
    button->setAutoDefault(false);
    connect(button, &QPushButton::clicked, this, slot);
    return button;
}

// --- reading

void SnapshotGallery::Load() {
    if (m_reader.IsHeld()) {
        m_bAgain = true;
        *m_stop = true;
        return;
    }
    m_bAgain = false;
    m_stop = std::make_shared<std::atomic<bool>>(false);
    const auto now = std::chrono::floor<std::chrono::milliseconds>(m_clock.Now()).time_since_epoch();
    const QDate day = QDateTime::fromMSecsSinceEpoch(now.count()).date();
    const bool bStarted = m_reader.Start("kv-gallery", [folder = m_folder, day, scale = devicePixelRatioF(),
                                                        stop = m_stop, self = QPointer(this)] {
        TryStep("SnapshotGallery::Load", [&] {
            const std::vector<SnapshotFile> files = ListSnapshots(folder, day, *stop);
            if (!*stop) {
                Tell(self, [files](SnapshotGallery& gallery) { gallery.OnListed(files); });
            }
            for (std::size_t i = 0; i < files.size() && !*stop; ++i) {
                const QImage image = LoadThumbnail(files[i].path, scale);
                Tell(self, [path = files[i].path, image](SnapshotGallery& gallery) {
                    gallery.OnThumbnail(path, image);
                });
            }
        });
        Tell(self, [](SnapshotGallery& gallery) { gallery.OnLoaded(); });
    });
    m_bLoaded = !bStarted;
    UpdateWords();
}

// Those that are there keep their pictures.
void SnapshotGallery::OnListed(const std::vector<SnapshotFile>& files) {
    const QString selected = SelectedPath();
    std::vector<std::pair<QString, QIcon>> known;
    known.reserve(static_cast<std::size_t>(m_list->count()));
    for (int i = 0; i < m_list->count(); ++i) {
        known.emplace_back(m_list->item(i)->data(kPathRole).toString(), m_list->item(i)->icon());
    }
    m_list->clear();
    QPixmap blank(kThumbnailSize);
    blank.fill(Qt::transparent);
    for (const SnapshotFile& file : files) {
        const QString time = QLocale().toString(file.taken.time(), QLocale::LongFormat);
        auto* const item = new QListWidgetItem(
            TitleOf(file.path) + "\n" + file.taken.time().toString(QStringLiteral("HH:mm:ss")), m_list);
        item->setData(kPathRole, file.path);
        item->setSizeHint(m_list->gridSize() - QSize(kBetween, kBetween));
        item->setIcon(QIcon(blank));  // keeps its room until the picture comes
        item->setData(Qt::AccessibleTextRole, TitleOf(file.path) + ", " + time);
        item->setToolTip(MarkupOf(QFileInfo(file.path).fileName().toStdString()));
        for (const auto& [path, icon] : known) {
            if (path == file.path) {
                item->setIcon(icon);
            }
        }
        if (file.path == selected) {
            m_list->setCurrentItem(item);
        }
    }
    if (m_list->currentItem() == nullptr && m_list->count() > 0) {
        m_list->setCurrentRow(0);
    }
    m_bLoaded = true;
    UpdateWords();
}

void SnapshotGallery::OnThumbnail(const QString& path, const QImage& image) {
    QListWidgetItem* const item = Find(path);
    if (item == nullptr) {
        return;
    }
    if (image.isNull()) {
        item->setToolTip(Text(kStrPictureNotOpened));
    } else {
        item->setIcon(QIcon(QPixmap::fromImage(image)));
    }
}

void SnapshotGallery::OnLoaded() {
    m_reader.Wait(kGalleryLastMoment);  // this was the last thing it did
    m_bLoaded = true;
    UpdateWords();
    if (m_bAgain) {
        Load();
    }
}

QListWidgetItem* SnapshotGallery::Find(const QString& path) const {
    for (int i = 0; i < m_list->count(); ++i) {
        if (m_list->item(i)->data(kPathRole).toString() == path) {
            return m_list->item(i);
        }
    }
    return nullptr;
}

QString SnapshotGallery::SelectedPath() const {
    const QList<QListWidgetItem*> selected = m_list->selectedItems();
    return selected.isEmpty() ? QString() : selected.front()->data(kPathRole).toString();
}

void SnapshotGallery::UpdateWords() {
    const bool bSelected = !m_list->selectedItems().isEmpty();
    for (QPushButton* const button : {m_open, m_copy, m_delete}) {
        button->setEnabled(bSelected && !m_worker.IsHeld());
    }
    const auto count = static_cast<std::uint64_t>(m_list->count());
    m_count->setText(count == 0 ? QString()
                                : QString::fromStdString(
                                      FillPattern(LoadPlural(kStrCount, count), {std::to_string(count)})));
    const std::string key = ShortcutName(kCtlSnapshot).toStdString();
    m_hint->Say(count > 0    ? QString()
                : !m_bLoaded ? Text(kStrReading)
                             : QString::fromStdString(FillPattern(LoadString(kStrEmpty), {key})));
}

// --- what can be done with one

// The work is done on a thread, and what it gives on this one.
void SnapshotGallery::Run(const char* name, std::function<std::function<void()>()> work) {
    const bool bStarted = m_worker.Start("kv-gallery", [name, work = std::move(work), self = QPointer(this)] {
        std::function<void()> then;
        TryStep(name, [&] { then = work(); });
        Tell(self, [then](SnapshotGallery& gallery) {
            gallery.m_worker.Wait(kGalleryLastMoment);
            if (then) {
                then();
            }
            gallery.UpdateWords();
        });
    });
    if (bStarted) {
        m_message->clear();
        UpdateWords();
    }
}

void SnapshotGallery::OpenSelected() {
    if (const QString path = SelectedPath(); !path.isEmpty()) {
        if (m_leaves) {
            m_leaves();
        }
        if (!QDesktopServices::openUrl(QUrl::fromLocalFile(path))) {
            m_message->setText(Text(kStrPictureNotOpened));
        }
    }
}

void SnapshotGallery::CopySelected() {
    const QString path = SelectedPath();
    if (path.isEmpty()) {
        return;
    }
    Run("SnapshotGallery::Copy", [this, path]() -> std::function<void()> {
        const QImage image(path);
        return [this, image] {
            if (!image.isNull()) {
                QGuiApplication::clipboard()->setImage(image);
            }
            m_message->setText(Text(image.isNull() ? kStrPictureNotOpened : kStrCopied));
        };
    });
}

void SnapshotGallery::ShowFolder() {
    if (m_leaves) {
        m_leaves();
    }
    const QString path = SelectedPath();
    QDesktopServices::openUrl(
        QUrl::fromLocalFile(path.isEmpty() ? m_folder : QFileInfo(path).absolutePath()));
}

// It can be got back from there, so that nobody has to be asked.
void SnapshotGallery::DeleteSelected() {
    const QString path = SelectedPath();
    if (path.isEmpty()) {
        return;
    }
    Run("SnapshotGallery::Delete", [this, path]() -> std::function<void()> {
        const bool bGone = QFile::moveToTrash(path) || !QFileInfo::exists(path);
        return [this, path, bGone] {
            if (bGone) {
                delete Find(path);
            } else {
                m_message->setText(Text(kStrNoTrash));
            }
        };
    });
}

// Enter opens, Delete throws away, Ctrl+C copies.
bool SnapshotGallery::eventFilter(QObject* watched, QEvent* event) {
    if (watched != m_list || event->type() != QEvent::KeyPress) {
        return QDialog::eventFilter(watched, event);
    }
    const auto& key = *static_cast<QKeyEvent*>(event);
    if (key.matches(QKeySequence::Copy)) {
        m_copy->click();
        return true;
    }
    switch (key.key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            m_open->click();
            return true;
        case Qt::Key_Delete:
            m_delete->click();
            return true;
        default:
            return false;
    }
}

}  // namespace kvmon
