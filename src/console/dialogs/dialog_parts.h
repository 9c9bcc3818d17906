// What the console's dialogs are made of.
#pragma once

#include <QtCore/QString>
#include <cstdint>

class QDialog;
class QDialogButtonBox;
class QLabel;
class QTreeWidget;
class QWidget;

namespace kvmon {

// The text of a number, for a widget.
QString Text(std::uint32_t id);

// The dialog's OK and Cancel, connected, with texts of the loaded language.
QDialogButtonBox* AddDialogButtons(QDialog& dialog);

// A text of one or more lines that is shown as it is and wraps; it keeps room for `lines` of them, so that
// the dialog does not jump when it changes. One with more lines makes the dialog grow.
QLabel* MakeMessageLabel(QWidget* parent, int lines);

// Of a usual letter in the widget's font. What a font with ideographs calls its average is their width, twice
// that of the addresses and names that most fields hold.
int LetterWidth(const QWidget& widget);

// Columns as wide as what they show, with a gap before the next one.
void FitColumns(QTreeWidget& list);

}  // namespace kvmon
