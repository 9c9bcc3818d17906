// How far a long work has come, over the upper edge of the wall, with a way to end it.
#pragma once

#include <QtCore/QPointer>
#include <functional>
#include <string>

namespace kvmon {

class Desk;
class ViewController;

// User interface thread only.
class ProgressBox {
public:
    ProgressBox(Desk& desk, const ViewController& view);
    ~ProgressBox();
    ProgressBox(const ProgressBox&) = delete;
    ProgressBox& operator=(const ProgressBox&) = delete;

    // Shows it, or goes on with it. The link is there as it was first told.
    void Show(const std::string& text, int done, int all, const std::function<void()>& cancel);
    void Hide();
    // To where the wall is now.
    void Place();

private:
    class Box;

    Desk& m_desk;
    const ViewController& m_view;
    QPointer<Box> m_box;  // goes with the window that it stands on
};

}  // namespace kvmon
