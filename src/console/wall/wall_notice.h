// A word over the wall, where no camera can be shown.
#pragma once

#include <QtCore/QPointer>
#include <QtWidgets/QLabel>
#include <string>

namespace kvmon {

// User interface thread only.
class WallNotice {
public:
    // Shows the text over this place of the host. An empty text, or no host, takes the notice away.
    void Show(const std::string& text, QWidget* host, const QRect& place);

private:
    QPointer<QLabel> m_label;  // goes with the panel that it stands on
};

}  // namespace kvmon
