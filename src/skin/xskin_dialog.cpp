#include "skin/xskin_dialog.h"

#include <QtGui/QPainter>
#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/diagnostics.h"
#include "skin/background.h"
#include "skin/xskin_od_button.h"
#include "skin/xskin_static.h"

namespace kvmon {

CXSkinDialog::CXSkinDialog(QWidget* parent) : WindowBase(parent) {
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void CXSkinDialog::CreateControls(std::span<const SkinControlRow> table, TextSource texts) {
    QWidget* previous = nullptr;
    for (const SkinControlRow& row : table) {
        if (Find(row.id) != nullptr) {
            continue;
        }
        QWidget* const control = Make(row, texts);
        AddControl(row.id, control, QRect(row.x, row.y, row.width, row.height));
        control->setVisible((row.style & WS_VISIBLE) != 0);
        if (previous != nullptr) {
            setTabOrder(previous, control);
        }
        previous = control;
    }
}

std::vector<QWidget*> CXSkinDialog::ControlsByPlace() const {
    std::vector<Item> items;
    std::copy_if(m_items.begin(), m_items.end(), std::back_inserter(items),
                 [](const Item& item) { return item.control != nullptr; });
    std::stable_sort(items.begin(), items.end(),
                     [](const Item& a, const Item& b) { return a.table.y() < b.table.y(); });
    std::vector<QWidget*> controls;
    for (auto first = items.begin(); first != items.end();) {
        // What has its middle in the height of the row's first one stands in its row.
        const QRect head = first->table;
        const auto end = std::find_if(first, items.end(), [&head](const Item& item) {
            return item.table.center().y() > head.bottom();
        });
        std::stable_sort(first, end, [](const Item& a, const Item& b) { return a.table.x() < b.table.x(); });
        std::transform(first, end, std::back_inserter(controls),
                       [](const Item& item) { return item.control; });
        first = end;
    }
    return controls;
}

QWidget* CXSkinDialog::Make(const SkinControlRow& row, TextSource texts) {
    if (row.kind == SkinControlKind::kStatic) {
        auto* const text = new CXSkinStatic(row.id, this);
        text->SetCentred(true);
        text->setObjectName(QString::fromUtf8(row.title));
        return text;
    }
    auto* const button = new CXSkinODButton(row.id, static_cast<ButtonMode>(row.mode), this);
    button->setObjectName(QString::fromUtf8(row.title));
    std::string tip = row.tooltip != 0 ? texts(row.tooltip) : std::string();
    button->SetTipText(std::move(tip));
    if (button->accessibleName().isEmpty()) {
        button->setAccessibleName(QString::fromUtf8(row.title));
    }
    return button;
}

void CXSkinDialog::AddControl(int id, QWidget* control, const QRect& table) {
    control->setParent(this);
    if (Item* const known = Find(id)) {
        *known = {id, control, table};
    } else {
        m_items.push_back({id, control, table});
    }
    Place(*Find(id));
}

QWidget* CXSkinDialog::GetDlgItem(int id) const {
    for (const Item& item : m_items) {
        if (item.id == id && item.control != nullptr) {
            return item.control;
        }
    }
    Diagnose("[CXSkinDialog::GetDlgItem] Nothing Found!! Try to Call CDialog::GetDlgItem IID=%d ...\n", id);
    return FindControl(id);
}

CXSkinODButton* CXSkinDialog::GetButton(int id) const {
    return dynamic_cast<CXSkinODButton*>(GetDlgItem(id));
}

int CXSkinDialog::OnSkinODButtonNotify(int, int, LParam) {
    return 1;
}

bool CXSkinDialog::OnSkinToolTipNeedTextNotify(CXSkinODButton&, std::string& text) {
    return !text.empty();
}

QSize CXSkinDialog::minimumSizeHint() const {
    return kSkinSize;
}

QSize CXSkinDialog::sizeHint() const {
    return kSkinSize;
}

void CXSkinDialog::PostCommand(int nId) {
    PostMessage(WM_COMMAND, static_cast<WParam>(nId), 0);
}

CXSkinDialog::Item* CXSkinDialog::Find(int id) {
    const auto item =
        std::find_if(m_items.begin(), m_items.end(), [id](const Item& each) { return each.id == id; });
    return item == m_items.end() ? nullptr : &*item;
}

void CXSkinDialog::Place(const Item& item) const {
    if (item.control != nullptr) {
        item.control->setGeometry(SkinControlRect(item.table, size()));
    }
}

void CXSkinDialog::resizeEvent(QResizeEvent* event) {
    for (const Item& item : m_items) {
        Place(item);
    }
    WindowBase::resizeEvent(event);
}

void CXSkinDialog::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.setClipRegion(event->region());
    DrawSkinBackground(painter, size(), ColoursOf(LookOf(*this)), event->rect());
}

}  // namespace kvmon
