// The desktop host: a window whose client area is the control.
#pragma once

#include <QtWidgets/QWidget>
#include <optional>

#include "app/app_options.h"
#include "app/desktop_browser.h"
#include "app/display_walls.h"
#include "app/kept_sign_in.h"
#include "app/window_place.h"
#include "control/client.h"
#include "control/smb_shares.h"

namespace kvmon {

class DesktopWindow final : public QWidget, private ClientEvents {
public:
    // The clock is what the recorders' threads wait by.
    // The key ring takes the passwords that its user wants remembered; it may be none, and must
    // outlive this; so may what keeps the look.
    explicit DesktopWindow(const AppOptions& options, Clock& clock = SystemClock(),
                           KeyRing* keyRing = nullptr, LookKeeper* looks = nullptr);
    ~DesktopWindow() override;

    // Creates the control and, if asked for, logs in and opens a named view.
    void Activate();
    // What a user sees now, as an image file by the name's ending. False if it could not be written.
    bool SavePicture(const std::string& path);

protected:
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    // The pages that a site around the control would have: those of the recorder, in the system's browser.
    void OnGotoPage(int param) override;
    void OnGotoServer(int param, const std::string& url) override;
    void OnLogin(int) override { m_walls.OnSession(); }
    void OnLoginEnd() override { m_walls.OnSession(); }
    void OnLogout(int reason) override;
    // The user chose it, so that it holds for the next start, too.
    void OnChgLanguage(int language) override;

    std::string SiteAddress();
    // When there is a wall to show it. A name that there is not is told in a box and on standard error.
    void OpenView();
    // Keeps those of the changed properties that are to be kept.
    void OnSignInChanged();
    // Puts the window where it was the last time, as far as that place still exists.
    void Restore();
    WindowPlace Place() const;
    // Puts it on the display of this number, from 1, or tells that there is none.
    void MoveToDisplay(int number);
    // Puts the window on a display that is left when its own has gone, and back when that comes again.
    void NoteDisplayGoes(const QScreen& gone);
    void ReturnToDisplay();
    void GoBackToDisplay();

    // Where it was when its display went.
    struct Away {
        QString display;
        WindowPlace place;
    };

    DesktopBrowser m_browser{*this};
    SmbShares m_shares;
    CTR450Client m_client;
    DisplayWalls m_walls;
    KeptSignIn m_signIn;
    const std::string m_strView;  // to be opened at the start; empty for none
    PropertyBag m_known;          // the properties that are no change of this run
    std::optional<Away> m_away;
    const bool m_bSent;  // by the command line
    bool m_bShown = false;
};

}  // namespace kvmon
