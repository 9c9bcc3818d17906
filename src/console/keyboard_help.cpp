// The window that tells the keys.
#include <QtCore/QPointer>
#include <QtWidgets/QDialog>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QLabel>
#include <algorithm>
#include <vector>

#include "console/console_keys.h"
#include "console/main_dlg.h"
#include "console/message_box.h"
#include "persist/string_table.h"
#include "skin/xskin_od_button.h"

namespace kvmon {

namespace {

constexpr int kColumns = 3;

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

QString TextOf(CMainDlg& dlg, const ConsoleKey& row) {
    if (row.text != 0) {
        return QString::fromStdString(LoadString(row.text));
    }
    const CXSkinODButton* const button = dlg.GetButton(row.command);
    return button != nullptr ? QString::fromStdString(button->TipText()) : QString();
}

// One line a command, with all its keys.
std::vector<Line> Lines(CMainDlg& dlg) {
    std::vector<Line> lines;
    for (const ConsoleKey& row : ConsoleKeyTable()) {
        const auto known = std::find_if(lines.begin(), lines.end(),
                                        [&row](const Line& line) { return line.command == row.command; });
        if (known != lines.end()) {
            known->keys += ", " + KeyText(row.key);
        } else {
            lines.push_back({row.command, KeyText(row.key), TextOf(dlg, row)});
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

}  // namespace

void OpenKeyboardHelp(CMainDlg& dlg) {
    static QPointer<QDialog> open;
    if (open) {
        open->raise();
        open->activateWindow();
        return;
    }
    auto* const window = new QDialog(dlg.Screens().DialogHost());
    window->setProperty(kOutlivesSession, true);
    open = window;
    window->setObjectName(QStringLiteral("keyboardHelp"));
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->setWindowTitle(QString::fromStdString(LoadString(6230)));
    auto* const grid = new QGridLayout(window);
    grid->setContentsMargins(22, 18, 22, 16);
    grid->setVerticalSpacing(5);
    grid->setHorizontalSpacing(12);
    const std::vector<Line> lines = Lines(dlg);
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
        grid->setColumnMinimumWidth(column + 2, column + 2 < 3 * kColumns - 1 ? 18 : 0);
    }
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Close, window);
    QObject::connect(buttons, &QDialogButtonBox::rejected, window, &QDialog::reject);
    QObject::connect(window, &QDialog::finished, window->parentWidget(),
                     [window] { window->parentWidget()->window()->activateWindow(); });
    grid->addWidget(buttons, rows, 0, 1, 3 * kColumns);
    window->show();
    window->activateWindow();
}

}  // namespace kvmon
