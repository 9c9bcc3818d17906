#include "console/drawer/camera_tree.h"

#include <QtCore/QEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QHeaderView>
#include <algorithm>

#include "console/dialogs/dialog_parts.h"
#include "skin/skin_colours.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

constexpr int kIconsWidth = 84;
constexpr int kChannelRole = Qt::UserRole;
constexpr std::uint32_t kStrCameras = 7102;

// Words for who does not see the signs.
QString StateText(const CellState& state) {
    QStringList words;
    for (const PlacedIcon& icon : PlaceIcons(state, kIconsWidth)) {
        words << CellIconText(icon.icon);
    }
    return words.join(QStringLiteral(", "));
}

QPixmap StatePicture(const CellState& state, double ratio, const StripColours& colours) {
    const QSize size(kIconsWidth, kIconHeight);
    QPixmap picture(size * ratio);
    picture.setDevicePixelRatio(ratio);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    for (const PlacedIcon& icon : PlaceIcons(state, kIconsWidth, 0)) {
        DrawCellIcon(painter, icon.icon, QRectF(icon.x, 0, icon.width, kIconHeight), colours);
    }
    return picture;
}

}  // namespace

CameraTree::CameraTree(QWidget* parent) : QTreeWidget(parent) {
    setObjectName(QStringLiteral("cameras"));
    setAccessibleName(Text(kStrCameras));
    setColumnCount(2);
    setHeaderHidden(true);
    setUniformRowHeights(true);
    setIndentation(14);
    setIconSize({kIconsWidth, kIconHeight});
    setExpandsOnDoubleClick(false);
    setTextElideMode(Qt::ElideMiddle);  // cameras of a house differ at the end of their names
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    header()->setStretchLastSection(false);
    header()->setSectionResizeMode(0, QHeaderView::Stretch);
    header()->setSectionResizeMode(1, QHeaderView::Fixed);
    header()->setMinimumSectionSize(kIconsWidth);
    setColumnWidth(1, kIconsWidth + 6);
}

int CameraTree::ChannelOf(const QTreeWidgetItem* item) {
    return item != nullptr ? item->data(0, kChannelRole).toInt() : -1;
}

QTreeWidgetItem* CameraTree::FirstShown() {
    QTreeWidgetItemIterator item(this,
                                 QTreeWidgetItemIterator::NoChildren | QTreeWidgetItemIterator::NotHidden);
    return *item;
}

void CameraTree::Fill(std::vector<CameraTreeRow> rows) {
    const bool bSame = std::equal(rows.begin(), rows.end(), m_rows.begin(), m_rows.end(),
                                  [](const CameraTreeRow& a, const CameraTreeRow& b) {
                                      return a.server == b.server && a.channel == b.channel &&
                                             a.recorder == b.recorder && a.name == b.name;
                                  });
    if (bSame) {
        QTreeWidgetItemIterator item(this, QTreeWidgetItemIterator::NoChildren);
        for (std::size_t i = 0; i < rows.size() && *item != nullptr; ++i, ++item) {
            if (!(rows[i].state == m_rows[i].state)) {
                ShowState(**item, rows[i]);
            }
        }
        m_rows = std::move(rows);
        return;
    }
    m_rows = std::move(rows);
    const QString current = currentItem() != nullptr ? currentItem()->text(0) : QString();
    clear();
    QTreeWidgetItem* group = nullptr;
    int server = -1;
    for (const CameraTreeRow& row : m_rows) {
        if (group == nullptr || row.server != server) {
            server = row.server;
            group = new QTreeWidgetItem(this, {QString::fromStdString(row.recorder)});
            group->setFirstColumnSpanned(true);
            group->setData(0, kChannelRole, -1);
            group->setExpanded(true);
        }
        auto* const item = new QTreeWidgetItem(group, {QString::fromStdString(row.name)});
        item->setData(0, kChannelRole, row.channel);
        ShowState(*item, row);
        if (item->text(0) == current) {
            setCurrentItem(item);
        }
    }
    if (currentItem() == nullptr && group != nullptr) {
        setCurrentItem(topLevelItem(0)->child(0));
    }
    Filter(m_wanted);
}

void CameraTree::ShowState(QTreeWidgetItem& item, const CameraTreeRow& row) const {
    const QString words = StateText(row.state);
    const QPixmap picture = StatePicture(row.state, devicePixelRatioF(), ColoursOf(*this).inactive);
    QIcon icon(picture);
    icon.addPixmap(picture, QIcon::Selected);  // else tinted until it is hardly told from the row
    item.setIcon(1, icon);
    item.setData(0, Qt::AccessibleTextRole, words.isEmpty() ? item.text(0) : item.text(0) + ", " + words);
    item.setData(1, Qt::AccessibleTextRole, words);
    item.setToolTip(0, item.text(0).toHtmlEscaped());
    item.setToolTip(1, words.toHtmlEscaped());
}

void CameraTree::changeEvent(QEvent* event) {
    QTreeWidget::changeEvent(event);
    if (event->type() == QEvent::StyleChange) {
        // Their signs are of another look.
        QTreeWidgetItemIterator item(this, QTreeWidgetItemIterator::NoChildren);
        for (std::size_t i = 0; i < m_rows.size() && *item != nullptr; ++i, ++item) {
            ShowState(**item, m_rows[i]);
        }
    }
}

// A recorder's name finds all of its cameras.
bool CameraTree::Filter(const QString& wanted) {
    m_wanted = wanted;
    bool bFound = false;
    for (int g = 0; g < topLevelItemCount(); ++g) {
        QTreeWidgetItem* const group = topLevelItem(g);
        const bool bGroup = group->text(0).contains(wanted, Qt::CaseInsensitive);
        bool bAny = false;
        for (int i = 0; i < group->childCount(); ++i) {
            const bool bFits = bGroup || group->child(i)->text(0).contains(wanted, Qt::CaseInsensitive);
            group->child(i)->setHidden(!bFits);
            bAny = bAny || bFits;
        }
        group->setHidden(!bAny);
        bFound = bFound || bAny;
    }
    return bFound;
}

}  // namespace kvmon
