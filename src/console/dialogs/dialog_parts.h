// What the console's dialogs are made of.
#pragma once

#include <QtCore/QString>
#include <cstdint>

class QDialog;
class QDialogButtonBox;
class QLabel;
class QWidget;

namespace kvmon {

// The text of a number, for a widget.
QString Text(std::uint32_t id);

// The dialog's OK and Cancel, connected, with texts of the loaded language.
QDialogButtonBox* AddDialogButtons(QDialog& dialog);

// A text of one or more lines that is shown as it is and wraps; it keeps room for `lines` of them, so that
// the dialog does not jump when it changes. One with more lines makes the dialog grow.
QLabel* MakeMessageLabel(QWidget* parent, int lines);

}  // namespace kvmon
