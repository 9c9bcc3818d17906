// The certificate of a camera that is spoken to encrypted: its fingerprint, and whether it is accepted.
#pragma once

#include <QtCore/QString>
#include <QtWidgets/QWidget>
#include <string>

class QCheckBox;
class QLabel;

namespace kvmon {

// Not on show while there is none. User interface thread only.
class CertificateBox final : public QWidget {
public:
    // `accepted` is what the camera's row says.
    CertificateBox(QString accepted, QWidget* parent);

    // What the camera's row is to say.
    QString Accepted() const;
    // One that was refused, which the user may accept. Gives the advice for that.
    std::string Offer(const QString& shown);

private:
    void Show(const QString& certificate, bool bAccepted);

    QString m_accepted;  // while none is on show
    QString m_shown;
    QCheckBox* m_accept = nullptr;
    QLabel* m_fingerprint = nullptr;
};

}  // namespace kvmon
