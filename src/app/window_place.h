// Where the window was, for the next start.
#pragma once

#include <QtCore/QList>
#include <QtCore/QRect>
#include <optional>

class QWidget;

namespace kvmon {

struct WindowPlace {
    QRect rect;  // without the frame, as if not maximised
    bool bMaximised = false;
};

// Nothing if none is stored, or if what is stored is no place.
std::optional<WindowPlace> LoadWindowPlace();
void SaveWindowPlace(const WindowPlace& place);

// The rectangle, moved and cut so that one of the displays holds it whole; the size stays at least the
// smallest. Nothing if too little of it is on any display for a user to take hold of.
std::optional<QRect> FitToDisplays(const QRect& rect, const QList<QRect>& displays, const QSize& smallest);

}  // namespace kvmon
