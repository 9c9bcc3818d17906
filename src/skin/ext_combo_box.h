// The selection list of the console and the dialogs.
#pragma once

#include <QtWidgets/QComboBox>

namespace kvmon {

// A combo box whose list is as wide as its longest entry (within the screen) and whose own text, when it is
// cut, shows whole as the tool tip. Entries are plain text.

class CExtComboBox : public QComboBox {
public:
    explicit CExtComboBox(QWidget* parent = nullptr);

    void showPopup() override;

protected:
    bool event(QEvent* event) override;
};

}  // namespace kvmon
