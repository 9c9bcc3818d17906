// Whether somebody can see a widget.
#pragma once

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtGui/QWindow>
#include <functional>

class QWidget;

namespace kvmon {

// A property of a QWindow, of type bool, for who knows more than the toolkit: others' windows hide all of it.
inline constexpr char kCoveredWindow[] = "kvCovered";

// Follows the widget itself and the window that it stands in. What was never shown counts as seen: nothing is
// known of it. User interface thread.
class Sight final : public QObject {
public:
    // `tell` is called after each change. The widget must outlive this object.
    Sight(QWidget& widget, std::function<void(bool bSeen)> tell);

    bool IsSeen() const { return m_bSeen; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool IsShown() const;
    void FollowWindow();
    void Look();

    QWidget& m_widget;
    const std::function<void(bool bSeen)> m_tell;
    QPointer<QWindow> m_window;
    bool m_bWasShown = false;
    bool m_bSeen = true;
};

}  // namespace kvmon
