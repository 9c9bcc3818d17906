// A camera to be added or changed: its fields, and a test of them with a picture.
#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QTimer>
#include <QtWidgets/QDialog>
#include <string>

#include "console/admin/api_caller.h"
#include "console/admin/camera_row.h"

class QComboBox;
class QDialogButtonBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QPushButton;

namespace kvmon {

class CertificateBox;
class CPictureEx;

// OK asks the recorder, and closes the dialog once it has taken the camera. User interface thread only.
class CameraEntryDialog final : public QDialog {
public:
    // A row without a channel is a camera to be added. `api` outlives what the user does here; `revision` is
    // of the list that the row stands in.
    CameraEntryDialog(ApiCaller& api, CameraRow row, QString revision, bool bCanTest, QWidget* parent);

    // The channel that the recorder gave or changed.
    int Channel() const { return m_row.channel; }

    void accept() override;
    void done(int result) override;

private:
    void MakeFields(QFormLayout& form);
    void MakeTest(QFormLayout& form, bool bCanTest);
    QJsonObject Fields(bool bAll) const;
    // Calls back unless the dialog has gone meanwhile.
    void Ask(const char* method, const std::string& path, const QJsonObject& body, ApiCaller::Done done);
    void Say(const std::string& text);
    void Refused(const ApiAnswer& answer);
    void SetBusy(bool bBusy);

    void Trial();
    void OnTrial(const ApiAnswer& answer);
    void EndTrial(const std::string& text);
    void ShowPicture(const std::string& jpeg);

    ApiCaller& m_api;
    CameraRow m_row;
    const QString m_revision;
    QLineEdit* m_name = nullptr;
    QLineEdit* m_address = nullptr;
    QLineEdit* m_user = nullptr;
    QLineEdit* m_password = nullptr;
    QComboBox* m_transport = nullptr;
    CertificateBox* m_certificate = nullptr;
    QPushButton* m_test = nullptr;
    CPictureEx* m_turning = nullptr;
    QLabel* m_picture = nullptr;
    QLabel* m_message = nullptr;
    QDialogButtonBox* m_buttons = nullptr;
    QTimer m_poll;
    int m_nTest = 0;             // the recorder's number of the one under way
    std::uint32_t m_nRound = 0;  // tells answers to it from those to one that was stopped
    bool m_bTesting = false;
};

}  // namespace kvmon
