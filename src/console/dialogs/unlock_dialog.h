// Asks for the password that leads out of a locked wall.
#pragma once

#include <QtWidgets/QDialog>
#include <functional>
#include <string>

class QLabel;
class QLineEdit;

namespace kvmon {

// Is accepted with the right password alone. User interface thread only.
class UnlockDialog final : public QDialog {
public:
    using Check = std::function<bool(const std::string& password)>;

    UnlockDialog(const std::string& user, Check isRight, QWidget* parent);

    void accept() override;

private:
    const Check m_isRight;
    QLineEdit* m_password;
    QLabel* m_word;
};

}  // namespace kvmon
