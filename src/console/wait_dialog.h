// "Please wait...", over the middle of the console. Blocks nothing.
#pragma once

#include <QtWidgets/QFrame>

namespace kvmon {

class WaitDialog final : public QFrame {
public:
    explicit WaitDialog(QWidget& console);

    void Open();
    void Centre();
};

}  // namespace kvmon
