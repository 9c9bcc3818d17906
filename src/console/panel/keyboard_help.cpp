#include "console/panel/keyboard_help.h"

#include <QtCore/QPointer>
#include <QtGui/QPainter>
#include <QtWidgets/QDialog>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QLabel>
#include <algorithm>
#include <vector>

#include "channel/cell/cell_icons.h"
#include "console/dialogs/message_box.h"
#include "console/panel/console_keys.h"
#include "console/ports/desk.h"
#include "console/ports/panel_buttons.h"
#include "persist/string_table.h"
#include "skin/skin_colours.h"

namespace kvmon {

namespace {

constexpr int kColumns = 3;
constexpr int kSignColumns = 4;
constexpr int kSignGap = 7;
constexpr std::uint32_t kStrSigns = 6800;

struct Line {
    int command;
    QString keys;
    QString text;
};

QString KeyText(int key) {
    const bool bPad = (key & static_cast<int>(Qt::KeypadModifier)) != 0;
    const QString text = KeyName(key & ~static_cast<int>(Qt::KeypadModifier));
    return bPad ? QString::fromStdString(LoadString(6234)).arg(text) : text;
}

QString TextOf(const PanelButtons& buttons, const ConsoleKey& row) {
    if (row.text != 0) {
        return QString::fromStdString(LoadString(row.text));
    }
    return buttons.TipText(row.command);
}

// One line a command, with all its keys.
std::vector<Line> Lines(const PanelButtons& buttons) {
    std::vector<Line> lines;
    for (const ConsoleKey& row : ConsoleKeyTable()) {
        const auto known = std::find_if(lines.begin(), lines.end(),
                                        [&row](const Line& line) { return line.command == row.command; });
        if (row.command > kKeyFirstView && row.command <= kKeyLastView) {
            lines.back().keys = ShortcutName(kKeyFirstView) + "..." + KeyName(row.key).right(1);
        } else if (known != lines.end()) {
            known->keys += ", " + KeyText(row.key);
        } else {
            lines.push_back({row.command, KeyText(row.key), TextOf(buttons, row)});
        }
    }
    std::erase_if(lines, [](const Line& line) { return line.text.isEmpty(); });
    return lines;
}

QLabel* PlainLabel(const QString& text, QWidget* parent) {
    auto* const label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    return label;
}

// With the background of a cell's strip, where the sign is usually seen.
class SignLabel final : public QLabel {
public:
    SignLabel(CellIcon icon, QWidget* parent) : QLabel(parent), m_icon(icon) {
        setFixedSize(30, kIconHeight);
        setAccessibleName(CellIconText(icon));
    }

protected:
    void paintEvent(QPaintEvent*) override {
        const StripColours& colours = ColoursOf(*this).inactive;
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(colours.ground));
        painter.drawRoundedRect(rect(), 3, 3);
        DrawCellIcon(painter, m_icon, QRectF(rect()), colours);
    }

private:
    const CellIcon m_icon;
};

QLayout* Legend(QWidget* parent) {
    auto* const grid = new QGridLayout;
    grid->setVerticalSpacing(3);
    grid->setHorizontalSpacing(kSignGap);
    QLabel* const head = PlainLabel(QString::fromStdString(LoadString(kStrSigns)), parent);
    QFont bold = head->font();
    bold.setBold(true);
    head->setFont(bold);
    grid->addWidget(head, 0, 0, 1, 2 * kSignColumns);
    const auto icons = AllCellIcons();
    const int rows = (static_cast<int>(icons.size()) + kSignColumns - 1) / kSignColumns;
    for (int i = 0; i < static_cast<int>(icons.size()); ++i) {
        const CellIcon icon = icons[static_cast<std::size_t>(i)];
        grid->addWidget(new SignLabel(icon, parent), 1 + i % rows, i / rows * 2);
        grid->addWidget(PlainLabel(CellIconText(icon), parent), 1 + i % rows, i / rows * 2 + 1);
    }
    for (int column = 0; column < kSignColumns; ++column) {
        grid->setColumnStretch(2 * column + 1, 1);
    }
    return grid;
}

}  // namespace

void OpenKeyboardHelp(Desk& desk, const PanelButtons& buttons) {
    static QPointer<QDialog> open;
    if (open) {
        open->raise();
        open->activateWindow();
        return;
    }
    auto* const window = new QDialog(desk.DialogHost());
    window->setProperty(kOutlivesSession, true);
    open = window;
    window->setObjectName(QStringLiteral("keyboardHelp"));
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->setWindowTitle(QString::fromStdString(LoadString(6230)));
    auto* const grid = new QGridLayout(window);
    grid->setContentsMargins(16, 16, 16, 14);
    grid->setVerticalSpacing(5);
    grid->setHorizontalSpacing(9);
    const std::vector<Line> lines = Lines(buttons);
    const int rows = (static_cast<int>(lines.size()) + kColumns - 1) / kColumns;
    for (int i = 0; i < static_cast<int>(lines.size()); ++i) {
        const Line& line = lines[static_cast<std::size_t>(i)];
        QLabel* const keys = PlainLabel(line.keys, window);
        QFont bold = keys->font();
        bold.setBold(true);
        keys->setFont(bold);
        keys->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        const int column = i / rows * 3;
        grid->addWidget(keys, i % rows, column);
        grid->addWidget(PlainLabel(line.text, window), i % rows, column + 1);
        grid->setColumnMinimumWidth(column + 2, column + 2 < 3 * kColumns - 1 ? 12 : 0);
    }
    auto* const close = new QDialogButtonBox(QDialogButtonBox::Close, window);
    QObject::connect(close, &QDialogButtonBox::rejected, window, &QDialog::reject);
    QObject::connect(window, &QDialog::finished, window, [window] { GiveKeyboardBack(*window); });
    grid->setRowMinimumHeight(rows, 6);
    grid->addLayout(Legend(window), rows + 1, 0, 1, 3 * kColumns);
    grid->addWidget(close, rows + 2, 0, 1, 3 * kColumns);
    window->show();
    window->activateWindow();
}

}  // namespace kvmon
