// Which channels picture-in-picture shows, and how many of them small.
#pragma once

#include <QtCore/QStringList>
#include <QtWidgets/QDialog>
#include <array>

#include "console/layout/pip_choice.h"

class QComboBox;

namespace kvmon {

class RangeSpinBox;

class PipDialog final : public QDialog {
public:
    // The names by channel; an empty list offers four numbered ones.
    PipDialog(const QStringList& names, const PipList& list, int children, QWidget* parent);

    const PipList& List() const { return m_choice.List(); }
    int Children() const;
    // A count out of range is told of, and the dialog stays.
    void accept() override;

private:
    void ShowChoice();

    PipChoice m_choice;
    RangeSpinBox* m_count;
    std::array<QComboBox*, 4> m_combos;
};

}  // namespace kvmon
