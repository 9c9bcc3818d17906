// The look of Qt's own widgets, so that dialogs and console are one product.
#pragma once

class QApplication;

namespace kvmon {

// Sets the style and colours of all widgets of the program. Once, before the first window.
void ApplySkin(QApplication& app);

}  // namespace kvmon
