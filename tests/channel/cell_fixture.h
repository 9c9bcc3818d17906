// A cell with a console around it that only listens.
#pragma once

#include <gmock/gmock.h>

#include <QtGui/QImage>
#include <QtGui/QMouseEvent>
#include <QtWidgets/QApplication>
#include <memory>
#include <vector>

#include "channel/cell/video_wnd.h"
#include "support/camera_maker.h"
#include "support/message_log.h"

namespace kvtest {

// The console, as far as a cell sees it.
class Console final : public kvmon::WindowBase {
public:
    std::vector<Message> messages;

protected:
    kvmon::LParam OnMessage(std::uint32_t message, kvmon::WParam wParam, kvmon::LParam lParam) override {
        messages.push_back({message, wParam, lParam});
        return 0;
    }
};

inline std::shared_ptr<kvmon::CBaseCamera> MakeGate(std::uint32_t monitorRight = 1) {
    kvmon::CameraSettings settings = SettingsOf(0);
    settings.m_bMonitorRight = monitorRight;
    auto camera = MakeCamera(settings);
    camera->SetCameraName("Gate & <b>yard</b>");
    return camera;
}

class Cell : public testing::Test {
protected:
    Cell() {
        cell.SetParentWnd(&console);
        cell.SetOwner(console.Handle());
        cell.resize(200, 150);
    }
    ~Cell() override { cell.SetCamera(nullptr); }

    QImage Picture() {
        QImage image(cell.size(), QImage::Format_RGB32);
        cell.render(&image);
        return image;
    }
    static void Press(QWidget& window, QEvent::Type type, Qt::MouseButton button, QPoint at) {
        QMouseEvent event(type, at, window.mapToGlobal(at), button, button, Qt::NoModifier);
        QApplication::sendEvent(&window, &event);
    }
    std::vector<std::uint32_t> Received() {
        QApplication::sendPostedEvents();
        std::vector<std::uint32_t> numbers;
        for (const auto& message : console.messages) {
            numbers.push_back(message.number);
        }
        console.messages.clear();
        return numbers;
    }
    using Numbers = std::vector<std::uint32_t>;

    Console console;
    kvmon::CVideoWnd cell;
};

}  // namespace kvtest
