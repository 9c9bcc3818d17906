// The selection list of the console and the dialogs.
#pragma once

#include <QtWidgets/QComboBox>

namespace kvmon {

// A combo box whose list is as wide as its longest entry (within the screen). Texts are cut in the middle,
// since names of one site often differ at their ends only; its own text, when it is cut, shows whole as the
// tool tip. Entries are plain text.
class CExtComboBox : public QComboBox {
public:
    explicit CExtComboBox(QWidget* parent = nullptr);

    void showPopup() override;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    // The room for the text, in pixels.
    int TextRoom(const QStyleOptionComboBox& option) const;
};

}  // namespace kvmon
