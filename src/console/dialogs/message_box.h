// Boxes that wait for nobody.
#pragma once

#include <string>

class QDialog;
class QWidget;

namespace kvmon {

// Set on a dialog that has nothing of a session in it: it stays when the session ends.
inline constexpr const char* kOutlivesSession = "outlivesSession";

// A warning above its parent's window, which deletes itself when it is closed. Texts are UTF-8 and shown as
// they are.
QDialog* OpenMessageBox(QWidget* parent, const std::string& text, const std::string& title);
// Opens the dialog above its parent's window, deletes it when it is closed, and then gives the keyboard back
// to that window, which a desktop without a window manager would not.
void OpenDialog(QDialog* dialog);
// To the window above which the dialog stands now, which may be another one than when it opened.
void GiveKeyboardBack(const QWidget& dialog);

}  // namespace kvmon
