// Boxes that wait for nobody.
#pragma once

#include <string>

class QDialog;
class QWidget;

namespace kvmon {

// Set on a dialog that shows nothing of the session, so that it stays when the session ends.
inline constexpr const char* kOutlivesSession = "outlivesSession";

// A warning above its parent's window, which deletes itself when it is closed. Texts are UTF-8 and shown as
// they are.
QDialog* OpenMessageBox(QWidget* parent, const std::string& text, const std::string& title);
// Opens the dialog above its parent's window, deletes it when it is closed, and then gives the keyboard back
// to that window, which a desktop without a window manager would not.
void OpenDialog(QDialog* dialog);
// Gives the keyboard to the window below the dialog, which may not be the one that it opened above.
void GiveKeyboardBack(const QWidget& dialog);

}  // namespace kvmon
