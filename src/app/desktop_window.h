// The desktop host: a window whose client area is the control.
#pragma once

#include <QtWidgets/QWidget>

#include "app/app_options.h"
#include "control/client.h"
#include "control/smb_shares.h"

namespace kvmon {

class DesktopWindow final : public QWidget {
public:
    explicit DesktopWindow(const AppOptions& options);
    ~DesktopWindow() override;

    // Creates the control and, if asked for, logs in.
    void Activate();
    CTR450Client& Client() { return m_client; }
    // What a user sees now, as an image file by the name's ending. False if it could not be written.
    bool SavePicture(const std::string& path);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    // To where it was the last time, as far as there still is such a place.
    void Restore();
    // Displays have gone: onto one that is left, if the window was on none of them.
    void ReturnToDisplay();

    SmbShares m_shares;
    CTR450Client m_client;
};

}  // namespace kvmon
