// How well what a window shows can be told from what it stands on, by its pixels.
#pragma once

#include <QtGui/QImage>
#include <QtWidgets/QWidget>
#include <string>
#include <vector>

namespace kvtest {

// The best contrast between the most frequent colour of the place and any other in it: 1 if all is one.
double ContrastIn(const QImage& image, const QRect& place);

// One line for each text of the window that is fainter than 4.5 to 1, and each control whose outline is
// fainter than 3 to 1.
std::vector<std::string> FaintParts(QWidget& window);

}  // namespace kvtest
