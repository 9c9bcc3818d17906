// How long a page stays in sequential mode.
#pragma once

#include <QtWidgets/QDialog>

namespace kvmon {

class RangeSpinBox;

class IntervalDialog final : public QDialog {
public:
    IntervalDialog(int seconds, QWidget* parent);

    int Seconds() const;
    // A value out of range is told of, and the dialog stays.
    void accept() override;

private:
    RangeSpinBox* m_seconds;
};

}  // namespace kvmon
