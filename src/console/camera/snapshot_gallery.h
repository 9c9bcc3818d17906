// The window of today's snapshots.
#pragma once

#include <QtCore/QDate>
#include <QtWidgets/QDialog>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "console/camera/snapshot_folder.h"
#include "platform/worker.h"

class QLabel;
class QListWidget;
class QListWidgetItem;
class QPushButton;

namespace kvmon {

class Clock;
class EmptyHint;

// Files are read, copied and thrown away by threads: a folder may be on a share that hangs. User interface
// thread only.
class SnapshotGallery final : public QDialog {
public:
    SnapshotGallery(const std::string& folder, Clock& clock, QWidget* parent);
    ~SnapshotGallery() override;

    // Another program's window is about to open.
    void SetLeaves(std::function<void()> leaves) { m_leaves = std::move(leaves); }
    // Anew, as a file may have come or gone.
    void Load();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // Of one reading, shared with its thread.
    using Stop = std::shared_ptr<std::atomic<bool>>;

    QPushButton* AddButton(const char* name, std::uint32_t text, void (SnapshotGallery::*slot)());
    void OnListed(const std::vector<SnapshotFile>& files);
    void OnThumbnail(const QString& path, const QImage& image);
    void OnLoaded();
    QListWidgetItem* Find(const QString& path) const;
    QString SelectedPath() const;
    void UpdateWords();
    void Run(const char* name, std::function<std::function<void()>()> work);

    void OpenSelected();
    void CopySelected();
    void ShowFolder();
    void DeleteSelected();

    const QString m_folder;
    Clock& m_clock;
    std::function<void()> m_leaves;
    QListWidget* m_list;
    EmptyHint* m_hint;
    QLabel* m_count;
    QLabel* m_message;
    QPushButton* m_open = nullptr;
    QPushButton* m_copy = nullptr;
    QPushButton* m_show = nullptr;
    QPushButton* m_delete = nullptr;
    Worker m_reader;
    Stop m_stop;
    bool m_bAgain = false;  // asked for while it was being read
    bool m_bLoaded = false;
    Worker m_worker;  // copies and deletes
};

}  // namespace kvmon
