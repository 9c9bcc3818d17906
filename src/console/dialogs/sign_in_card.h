// Where a user signs in: a card in the empty wall.
#pragma once

#include <QtWidgets/QWidget>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "console/dialogs/sign_in_fields.h"
#include "console/ports/sign_in_memory.h"
#include "platform/clock.h"

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
    // Is answered by TakePassword.
    virtual void OnFetchPassword(const SignInEntry& entry) = 0;
    virtual void OnForget(const SignInEntry& entry) = 0;
    // Is answered by TakeDemo.
    virtual void OnStartDemo() = 0;
};

// Covers the wall. A login is tried at the recorder first: what fails is told on the card, and no session
// begins. User interface thread only.
class SignInCard final : public QWidget {
public:
    // The listener must outlive the card. A try ends after `trialTime`.
    SignInCard(const SignInEntry& entry, SignInOffer offer, const std::vector<std::uint16_t>& languages,
               std::uint16_t language, SignInListener& listener, QWidget* parent,
               Milliseconds trialTime = Milliseconds(15000));
    ~SignInCard() override;

    SignInEntry GetEntry() const { return m_fields.GetEntry(); }
    void Say(const std::string& text);
    // Asks for a password that is remembered elsewhere. Once, when the card stands.
    void Begin();
    void TakePassword(const SignInEntry& entry, const std::optional<std::string>& password);
    void TakeDemo(const std::optional<SignInEntry>& entry);
    // To the first field that the user has to fill; the password's, if all are filled.
    void FocusField();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    void Connect();
    void OnButton();
    void Submit();
    void Try(const SignInEntry& entry);
    void OnChoice(int index);
    void OnForget();
    void OnDemo();
    void OnSearch();
    void TakeFound(const std::string& address, std::uint32_t port);
    void Fetch(const SignInEntry& entry);
    void ShowChoice();
    void StopTrial();
    void OnTried(const RecorderTestReport& report);
    void OnEdited();
    void WipePassword();

    SignInListener& m_listener;
    SignInOffer m_offer;
    SignInFields m_fields;
    bool m_bPasswordRemembered = false;  // and still unchanged in its field
    bool m_bFetch = false;
    bool m_bStartWithIt = false;  // with the password that is fetched
    SignInEntry m_tried;
    std::unique_ptr<RecorderTrial> m_trial;
};

}  // namespace kvmon
