// Asks for the password that leads out of a locked wall.
#pragma once

#include <QtWidgets/QDialog>
#include <functional>
#include <string>

class QDialogButtonBox;
class QLabel;
class QLineEdit;
class QTimer;

namespace kvmon {

// Is accepted with the right password alone. User interface thread only.
class UnlockDialog final : public QDialog {
public:
    using Check = std::function<bool(const std::string& password)>;

    // `secondsToWait` tells for how long no password is taken: 0 when one is.
    UnlockDialog(const std::string& user, Check isRight, std::function<int()> secondsToWait, QWidget* parent);

    void accept() override;

private:
    void ShowWait();

    const Check m_isRight;
    const std::function<int()> m_secondsToWait;
    QLineEdit* m_password;
    QLabel* m_word;
    QDialogButtonBox* m_buttons;
    QTimer* m_wait;
};

}  // namespace kvmon
