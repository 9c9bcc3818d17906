// The rows of the drawer: recorders, their cameras, and how these stand.
#pragma once

#include <QtWidgets/QTreeWidget>
#include <string>
#include <vector>

#include "channel/cell/cell_icons.h"

namespace kvmon {

struct CameraTreeRow {
    int server;
    int channel;
    std::string recorder;
    std::string name;
    CellState state;
};

// User interface thread only.
class CameraTree final : public QTreeWidget {
public:
    explicit CameraTree(QWidget* parent);

    // Rows that stay keep their place, and the current row stays the current one.
    void Fill(std::vector<CameraTreeRow> rows);
    // Shows those that have this in their name. False if there is none.
    bool Filter(const QString& wanted);
    // -1 for no row, and for a recorder's.
    static int ChannelOf(const QTreeWidgetItem* item);
    // The first camera that is shown; null for none.
    QTreeWidgetItem* FirstShown();

protected:
    void changeEvent(QEvent* event) override;

private:
    void ShowState(QTreeWidgetItem& item, const CameraTreeRow& row) const;

    std::vector<CameraTreeRow> m_rows;
    QString m_wanted;
};

}  // namespace kvmon
