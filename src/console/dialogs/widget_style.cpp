#include "console/dialogs/widget_style.h"

#include <QtGui/QColor>

#include "skin/palette.h"

namespace kvmon {

QString ConsoleStyleSheet() {
    const auto name = [](QRgb colour) { return QColor(colour).name(); };
    return QStringLiteral(
               "QComboBox { color: %1; background: %2; border: 1px solid %3; border-radius: 3px;"
               " padding: 1px 6px; }"
               "QComboBox:focus { border-color: %6; }"
               "QComboBox:disabled { color: %4; }"
               "QComboBox QAbstractItemView { color: %1; background: %2; selection-background-color: %5; }")
        .arg(name(palette::kInkBright), name(palette::kField), name(palette::kEdge),
             name(palette::kInkDisabled), name(palette::kFaceChecked), name(palette::kAccent));
}

}  // namespace kvmon
