// When the sign-in card stands in the wall, and what comes of it.
#pragma once

#include <QtCore/QPointer>
#include <string>

#include "console/sign_in_card.h"

namespace kvmon {

class CMainDlg;

// User interface thread only.
class SignInDesk final : private SignInListener {
public:
    explicit SignInDesk(CMainDlg& dlg) : m_dlg(dlg) {}
    ~SignInDesk() override;

    // Shows the card in place of the wall, or takes it away, as it is called for now.
    void Update();
    // False without a card.
    bool Focus();
    bool IsShown() const { return m_card != nullptr; }
    // The card, if there is one.
    const QWidget* Card() const { return m_card; }
    // Somebody logged in, in whatever way; the card that comes after it offers this user.
    void OnSessionBegins(const std::string& user);
    // The recorder refused the session's login: the next card says so.
    void OnRefused();

private:
    void OnSignIn(const SignInEntry& entry) override;
    void OnSignInLanguage(std::uint16_t langid) override;
    void Place(QWidget& host);
    void Remove();

    CMainDlg& m_dlg;
    QPointer<SignInCard> m_card;  // goes with the panel that it stands on
    std::string m_words;          // for the next card
};

}  // namespace kvmon
