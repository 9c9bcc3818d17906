#include "text_fit.h"

#include <QtCore/QRegularExpression>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QAbstractSpinBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMenu>
#include <QtWidgets/QStyleOptionComboBox>
#include <QtWidgets/QStyleOptionFrame>
#include <QtWidgets/QTabBar>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QTreeView>
#include <algorithm>

namespace kvtest {

namespace {

class Findings {
public:
    void Need(const QWidget& widget, const QString& text, int needed, int room) {
        if (needed > room && widget.toolTip().isEmpty()) {
            lines.push_back(std::string(widget.metaObject()->className()) + " '" + text.toStdString() +
                            "' needs " + std::to_string(needed) + " and has " + std::to_string(room));
        }
    }

    std::vector<std::string> lines;
};

int WidthOf(const QWidget& widget, const QString& text) {
    return widget.fontMetrics().size(Qt::TextShowMnemonic, text).width();
}

void CheckLabel(const QLabel& label, Findings& findings) {
    const QString text = label.text();
    const QSize room = label.contentsRect().size();
    const bool bMarkup = label.textFormat() == Qt::RichText ||
                         (label.textFormat() == Qt::AutoText && Qt::mightBeRichText(text));
    if (text.isEmpty()) {
        return;
    }
    if (bMarkup || label.wordWrap()) {
        findings.Need(label, text, label.heightForWidth(label.width()), label.height());
        return;
    }
    findings.Need(label, text, WidthOf(label, text), room.width());
    findings.Need(label, text, WidthOf(label, "x") > 0 ? label.fontMetrics().height() : 0, label.height());
}

// A word that is wider than its line is cut though the line is wrapped.
void CheckWords(const QLabel& label, Findings& findings) {
    if (label.wordWrap() && label.textFormat() == Qt::PlainText) {
        static const QRegularExpression blank(QStringLiteral("[\\s\\x{3000}-\\x{9fff}\\x{ff00}-\\x{ffef}]"));
        for (const QString& word : label.text().split(blank)) {
            findings.Need(label, word, WidthOf(label, word), label.contentsRect().width());
        }
    }
}

void CheckTabs(const QTabBar& bar, Findings& findings) {
    for (int i = 0; i < bar.count(); ++i) {
        findings.Need(bar, bar.tabText(i), WidthOf(bar, bar.tabText(i)), bar.tabRect(i).width());
        findings.Need(bar, bar.tabText(i), bar.tabRect(i).right(), bar.width());
    }
}

class OpenCombo : public QComboBox {
public:
    using QComboBox::initStyleOption;
};

void CheckCombo(const QComboBox& box, Findings& findings) {
    QStyleOptionComboBox option;
    (box.*&OpenCombo::initStyleOption)(&option);
    const int room =
        box.style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, &box).width();
    for (int i = 0; i < box.count(); ++i) {
        const int icon = box.itemIcon(i).isNull() ? 0 : box.iconSize().width() + 4;
        findings.Need(box, box.itemText(i), WidthOf(box, box.itemText(i)) + icon, room);
    }
}

void CheckPlaceholder(const QLineEdit& edit, Findings& findings) {
    constexpr int kMargins = 12;
    findings.Need(edit, edit.placeholderText(), WidthOf(edit, edit.placeholderText()),
                  edit.width() - kMargins);
}

void CheckHeader(const QHeaderView& header, Findings& findings) {
    for (int i = 0; header.orientation() == Qt::Horizontal && i < header.count(); ++i) {
        const QString title = header.model()->headerData(i, Qt::Horizontal).toString();
        findings.Need(header, title, header.sectionSizeHint(i), header.sectionSize(i));
    }
}

// The last column holds texts from outside.
void CheckRows(const QTreeView& view, Findings& findings) {
    const QAbstractItemModel& model = *view.model();
    for (int row = 0; row < model.rowCount(); ++row) {
        for (int column = 0; column + 1 < model.columnCount(); ++column) {
            const QModelIndex index = model.index(row, column);
            findings.Need(view, index.data().toString(), view.sizeHintForIndex(index).width(),
                          view.columnWidth(column));
        }
    }
}

void CheckWidget(const QWidget& widget, Findings& findings) {
    if (const auto* const label = qobject_cast<const QLabel*>(&widget)) {
        CheckLabel(*label, findings);
        CheckWords(*label, findings);
    } else if (const auto* const button = qobject_cast<const QAbstractButton*>(&widget)) {
        findings.Need(widget, button->text(), button->text().isEmpty() ? 0 : button->sizeHint().width(),
                      button->width());
    } else if (const auto* const group = qobject_cast<const QGroupBox*>(&widget)) {
        findings.Need(widget, group->title(), WidthOf(widget, group->title()), group->width());
    } else if (const auto* const tabs = qobject_cast<const QTabBar*>(&widget)) {
        CheckTabs(*tabs, findings);
    } else if (const auto* const box = qobject_cast<const QComboBox*>(&widget)) {
        CheckCombo(*box, findings);
    } else if (const auto* const edit = qobject_cast<const QLineEdit*>(&widget)) {
        CheckPlaceholder(*edit, findings);
    } else if (const auto* const spin = qobject_cast<const QAbstractSpinBox*>(&widget)) {
        findings.Need(widget, spin->text(), spin->minimumSizeHint().width(), spin->width());
    } else if (const auto* const header = qobject_cast<const QHeaderView*>(&widget)) {
        CheckHeader(*header, findings);
    } else if (const auto* const view = qobject_cast<const QTreeView*>(&widget)) {
        CheckRows(*view, findings);
    } else if (const auto* const menu = qobject_cast<const QMenu*>(&widget)) {
        findings.Need(widget, menu->title(), menu->sizeHint().width(), menu->width());
    }
}

// Texts are cut at the edges of their parents as well. What scrolls goes beyond them.
bool LiesBeyondItsParent(const QWidget& widget) {
    const QWidget* const parent = widget.parentWidget();
    const bool bText = qobject_cast<const QLabel*>(&widget) != nullptr ||
                       qobject_cast<const QAbstractButton*>(&widget) != nullptr ||
                       qobject_cast<const QLineEdit*>(&widget) != nullptr;
    return bText && parent != nullptr && !parent->inherits("QHeaderView") &&
           parent->objectName() != QLatin1String("qt_scrollarea_viewport") &&
           !parent->rect().contains(widget.geometry());
}

}  // namespace

std::vector<std::string> TextsThatDoNotFit(const QWidget& window) {
    Findings findings;
    CheckWidget(window, findings);
    for (const QWidget* const widget : window.findChildren<QWidget*>()) {
        if (!widget->isVisible() || widget->window() != &window) {
            continue;
        }
        CheckWidget(*widget, findings);
        if (LiesBeyondItsParent(*widget)) {
            findings.lines.push_back(std::string(widget->metaObject()->className()) + " " +
                                     widget->objectName().toStdString() + " lies beyond its parent");
        }
    }
    return findings.lines;
}

}  // namespace kvtest
