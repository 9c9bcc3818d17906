// When the sign-in card is shown, and what a sign-in begins.
#pragma once

#include <QtCore/QPointer>
#include <memory>
#include <string>

#include "console/dialogs/sign_in_card.h"

namespace kvmon {

class ClientSite;
struct ConsoleSettings;
class Desk;
class RecorderList;
class ViewController;

// Who begins a session when a user signs in.
class SessionLogin {
public:
    virtual ~SessionLogin() = default;
    virtual void LogIn(const std::string& user, const std::string& password) = 0;
};

// User interface thread only.
class SignInDesk final : private SignInListener {
public:
    SignInDesk(Desk& desk, ClientSite& site, const ViewController& view, const ConsoleSettings& settings,
               SessionLogin& login, const RecorderList& recorders)
        : m_desk(desk),
          m_site(site),
          m_view(view),
          m_settings(settings),
          m_login(login),
          m_recorders(recorders) {}
    ~SignInDesk() override;

    // Shows the card in place of the wall or takes it away, whichever is right now.
    void Update();
    // False without a card.
    bool Focus();
    bool IsShown() const { return m_card != nullptr; }
    // The session that begins is that of the demo recorder, whose password nobody knows.
    bool IsDemo() const { return m_bDemo; }
    // Users of this host sign in here.
    bool IsOffered() const;
    // The card, if there is one.
    const QWidget* Card() const { return m_card; }
    // Somebody logged in, by the card or otherwise: the next card offers this user.
    void OnSessionBegins(const std::string& user);
    // The recorder refused the session's login: the next card says so.
    void OnRefused();

private:
    void OnSignIn(const SignInEntry& entry) override;
    void OnSignInLanguage(std::uint16_t langid) override;
    void OnFetchPassword(const SignInEntry& entry) override;
    void OnForget(const SignInEntry& entry) override;
    void OnStartDemo() override;
    void MakeCard(SignInMemory& memory, QWidget& host);
    void Place(QWidget& host);
    void Remove();

    Desk& m_desk;
    ClientSite& m_site;
    const ViewController& m_view;
    const ConsoleSettings& m_settings;
    SessionLogin& m_login;
    const RecorderList& m_recorders;
    QPointer<SignInCard> m_card;  // goes with the panel that it stands on
    bool m_bLocked = false;       // the card was made for a wall that is locked
    std::string m_words;          // for the next card
    bool m_bDemo = false;         // the session that begins is the demo's
    const std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

}  // namespace kvmon
