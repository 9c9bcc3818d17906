// Whether the recorder's cameras may be changed from here, and the window for it.
#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QPointer>
#include <QtWidgets/QDialog>
#include <memory>

namespace kvmon {

class ApiCaller;
class Desk;
class RecorderList;

// A command of the console's menu, and the number of its text.
inline constexpr int kCmdCameras = 7500;

// Asks the first recorder, if it is a kvrecorder, once after each login, and again only where no answer came.
// User interface thread only.
class CameraAdmin {
public:
    CameraAdmin(Desk& desk, const RecorderList& recorders);
    ~CameraAdmin();
    CameraAdmin(const CameraAdmin&) = delete;
    CameraAdmin& operator=(const CameraAdmin&) = delete;

    // Once a second.
    void Update();
    // The recorder has such an interface, and the user may use it.
    bool IsOffered() const { return !m_info.isEmpty(); }
    // Command kCmdCameras.
    void Open();
    // The session is over.
    void Close();

private:
    Desk& m_desk;
    const RecorderList& m_recorders;
    std::unique_ptr<ApiCaller> m_api;  // since the question was asked
    QJsonObject m_info;
    int m_nPause = 0;    // seconds until the next question
    int m_nUnheard = 0;  // questions without an answer
    QPointer<QDialog> m_window;
};

}  // namespace kvmon
