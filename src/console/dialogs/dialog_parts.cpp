#include "console/dialogs/dialog_parts.h"

#include <QtWidgets/QDialog>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTreeWidget>
#include <algorithm>

#include "persist/string_table.h"

namespace kvmon {

namespace {

// A text with more lines than there is room for makes an open window grow.
class MessageLabel final : public QLabel {
public:
    MessageLabel(QWidget* parent, int lines) : QLabel(parent), m_nLines(lines) {
        setTextFormat(Qt::PlainText);
        setWordWrap(true);
        setAlignment(Qt::AlignLeft | Qt::AlignTop);
    }

    QSize minimumSizeHint() const override {
        const int room = m_nLines * fontMetrics().lineSpacing();
        return {QLabel::minimumSizeHint().width(),
                isVisible() ? std::max(room, heightForWidth(width())) : room};
    }

private:
    const int m_nLines;
};

}  // namespace

QString Text(std::uint32_t id) {
    return QString::fromStdString(LoadString(id));
}

QDialogButtonBox* AddDialogButtons(QDialog& dialog) {
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dialog);
    buttons->button(QDialogButtonBox::Ok)->setText(Text(6120));
    buttons->button(QDialogButtonBox::Ok)->setDefault(true);
    buttons->button(QDialogButtonBox::Cancel)->setText(Text(6121));
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    return buttons;
}

QLabel* MakeMessageLabel(QWidget* parent, int lines) {
    return new MessageLabel(parent, lines);
}

int LetterWidth(const QWidget& widget) {
    const QFontMetrics metrics = widget.fontMetrics();
    return std::min(metrics.averageCharWidth(), metrics.horizontalAdvance(QLatin1Char('n')));
}

void FitColumns(QTreeWidget& list) {
    constexpr int kGap = 12;
    const int last = list.columnCount() - 1;
    for (int column = 0; column <= last; ++column) {
        list.resizeColumnToContents(column);
        if (column < last) {
            list.setColumnWidth(column, list.columnWidth(column) + kGap);
        }
    }
}

}  // namespace kvmon
