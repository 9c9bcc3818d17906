// Whether the texts of windows fit where they stand.
#pragma once

#include <QtWidgets/QWidget>
#include <string>
#include <vector>

namespace kvtest {

// One line for each visible text of the window that is cut off, and for each widget that lies beyond its
// parent. A text that a tool tip tells in full may be cut.
std::vector<std::string> TextsThatDoNotFit(const QWidget& window);

}  // namespace kvtest
