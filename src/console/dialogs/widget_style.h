// The look of the plain widgets that stand on the skin.
#pragma once

#include <QtCore/QString>

namespace kvmon {

QString ConsoleStyleSheet();

}  // namespace kvmon
