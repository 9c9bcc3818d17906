// Where a user signs in: a card in the empty wall.
#pragma once

#include <QtWidgets/QWidget>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "console/ports/sign_in_memory.h"
#include "platform/clock.h"

class QCheckBox;
class QComboBox;
class QFrame;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;

namespace kvmon {

class RecorderTrial;
struct RecorderTestReport;

// Called after the handler of the click or key, never after the card is gone.
class SignInListener {
public:
    virtual ~SignInListener() = default;
    // The recorder takes this login. The card holds no password any more.
    virtual void OnSignIn(const SignInEntry& entry) = 0;
    virtual void OnSignInLanguage(std::uint16_t langid) = 0;
};

// Covers the wall. A login is tried at the recorder first: what fails is told on the card, and no session
// begins. User interface thread only.
class SignInCard final : public QWidget {
public:
    // The listener must outlive the card. A try ends after `trialTime`.
    SignInCard(const SignInEntry& entry, const std::vector<std::uint16_t>& languages, std::uint16_t language,
               SignInListener& listener, QWidget* parent, Milliseconds trialTime = Milliseconds(15000));
    ~SignInCard() override;

    SignInEntry GetEntry() const;
    void Say(const std::string& text);
    // To the first field that the user has to fill; the password's, if all are filled.
    void FocusField();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    void MakeFields(const SignInEntry& entry);
    void MakeLanguages(const std::vector<std::uint16_t>& languages, std::uint16_t language);
    QFrame* MakeCard();
    void Arrange(QFrame& card);
    void Connect();
    void OnButton();
    void Submit();
    void StopTrial();
    void OnTried(const RecorderTestReport& report);
    void ShowTrial(bool bRunning);
    void OnEdited();
    void WipePassword();

    SignInListener& m_listener;
    QLineEdit* m_address = nullptr;
    QSpinBox* m_port = nullptr;
    QLineEdit* m_user = nullptr;
    QLineEdit* m_password = nullptr;
    QCheckBox* m_remember = nullptr;
    QCheckBox* m_atStart = nullptr;
    QComboBox* m_languages = nullptr;
    QPushButton* m_button = nullptr;
    QLabel* m_message = nullptr;
    bool m_bPasswordRemembered = false;  // and still unchanged in its field
    std::unique_ptr<RecorderTrial> m_trial;
};

}  // namespace kvmon
