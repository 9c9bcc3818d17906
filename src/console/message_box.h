// Boxes that wait for nobody.
#pragma once

#include <string>

class QWidget;

namespace kvmon {

// A warning above its parent's window. Texts are UTF-8 and shown as they are.
void OpenMessageBox(QWidget* parent, const std::string& text, const std::string& title);

}  // namespace kvmon
