#include "console/admin/camera_entry_dialog.h"

#include <QtCore/QJsonArray>
#include <QtCore/QPointer>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <utility>

#include "console/admin/admin_texts.h"
#include "console/admin/api_words.h"
#include "console/admin/certificate_box.h"
#include "console/admin/told_words.h"
#include "console/dialogs/dialog_parts.h"
#include "console/settings/fill_pattern.h"
#include "console/site/emap_fetch.h"
#include "persist/string_table.h"
#include "platform/outside_text.h"
#include "skin/picture_ex.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kLabelName = 6140;
constexpr std::uint32_t kLabelAddress = 6141;
constexpr std::uint32_t kLabelUser = 6143;
constexpr std::uint32_t kLabelPassword = 6144;
constexpr std::uint32_t kStrStopped = 6158;
constexpr int kTrialPollMs = 300;
constexpr QSize kPictureSize{320, 180};

std::string CameraPath(int channel) {
    return "/cameras/" + std::to_string(channel);
}

}  // namespace

CameraEntryDialog::CameraEntryDialog(ApiCaller& api, CameraRow row, QString revision, bool bCanTest,
                                     QWidget* parent)
    : QDialog(parent), m_api(api), m_row(std::move(row)), m_revision(std::move(revision)) {
    setObjectName(QStringLiteral("cameraDialog"));
    setWindowTitle(Text(m_row.channel < 0 ? kStrAddTitle : kStrChangeTitle));
    auto* const form = new QFormLayout(this);
    form->setContentsMargins(20, 18, 20, 16);
    form->setVerticalSpacing(10);
    form->setHorizontalSpacing(14);
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    MakeFields(*form);
    MakeTest(*form, bCanTest);
    m_message = MakeMessageLabel(this, 2);
    m_message->setObjectName(QStringLiteral("message"));
    form->addRow(m_message);
    m_buttons = AddDialogButtons(*this);
    form->addRow(m_buttons);
    m_poll.setSingleShot(true);
    m_poll.setInterval(kTrialPollMs);
    connect(&m_poll, &QTimer::timeout, this, [this] {
        const std::uint32_t round = m_nRound;
        Ask("GET", "/tests/" + std::to_string(m_nTest), {}, [this, round](const ApiAnswer& answer) {
            if (round == m_nRound) {
                OnTrial(answer);
            }
        });
    });
    (m_row.channel < 0 && m_row.address.isEmpty() ? m_address : m_name)->setFocus();
}

void CameraEntryDialog::MakeFields(QFormLayout& form) {
    m_name = new QLineEdit(m_row.name, this);
    m_name->setMaxLength(255);
    m_address = new QLineEdit(m_row.address, this);
    m_address->setMaxLength(1024);
    m_address->setPlaceholderText(QStringLiteral("rtsp://192.0.2.20/main"));
    m_address->setMinimumWidth(LetterWidth(*m_address) * 40);
    m_user = new QLineEdit(m_row.user, this);
    m_user->setMaxLength(255);
    m_password = new QLineEdit(this);
    m_password->setMaxLength(255);
    m_password->setEchoMode(QLineEdit::Password);
    m_password->setPlaceholderText(m_row.hasPassword ? Text(kStrKeepPassword) : QString());
    m_transport = new QComboBox(this);
    m_transport->addItems({Text(kStrTcp), Text(kStrUdp)});
    m_transport->setCurrentIndex(m_row.overUdp ? 1 : 0);
    m_transport->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);  // as wide as the others
    const struct {
        QWidget* field;
        const char* name;
        std::uint32_t label;
        bool bOfCamera;
    } rows[] = {{m_name, "name", kLabelName, false},
                {m_address, "address", kLabelAddress, true},
                {m_user, "user", kLabelUser, true},
                {m_password, "password", kLabelPassword, true},
                {m_transport, "transport", kStrTransport, true}};
    for (const auto& row : rows) {
        row.field->setObjectName(QString(row.name));
        row.field->setAccessibleName(Text(row.label));
        row.field->setEnabled(!row.bOfCamera || m_row.channel < 0 || m_row.isCamera);
        form.addRow(Text(row.label), row.field);
    }
}

void CameraEntryDialog::MakeTest(QFormLayout& form, bool bCanTest) {
    m_test = new QPushButton(Text(kStrTest), this);
    m_test->setObjectName(QStringLiteral("test"));
    m_test->setAutoDefault(false);
    m_test->setEnabled(bCanTest && m_address->isEnabled());
    connect(m_test, &QPushButton::clicked, this, &CameraEntryDialog::Trial);
    m_turning = new CPictureEx(this);
    QSizePolicy place = m_turning->sizePolicy();
    place.setRetainSizeWhenHidden(true);
    m_turning->setSizePolicy(place);
    m_turning->hide();
    auto* const line = new QHBoxLayout;
    line->addWidget(m_test);
    line->addWidget(m_turning);
    line->addStretch();
    form.addRow(QString(), line);
    m_picture = new QLabel(this);
    m_picture->setObjectName(QStringLiteral("picture"));
    m_picture->setAccessibleName(Text(kStrPicture));
    m_picture->setAlignment(Qt::AlignCenter);
    m_picture->hide();  // until there is one
    form.addRow(QString(), m_picture);
    m_certificate = new CertificateBox(m_row.certificate, this);
    form.addRow(m_certificate);
}

// Of a camera that is changed those that are others than before.
QJsonObject CameraEntryDialog::Fields(bool bAll) const {
    QJsonObject fields;
    const auto add = [&](const char* key, const QString& value, const QString& before) {
        if (bAll || value != before) {
            fields[QLatin1String(key)] = value;
        }
    };
    add("address", m_address->text().trimmed(), m_row.address);
    add("user", m_user->text(), m_row.user);
    if (!m_password->text().isEmpty()) {
        fields[QStringLiteral("password")] = m_password->text();
    }
    const auto transport = [](bool bUdp) { return bUdp ? QStringLiteral("udp") : QStringLiteral("tcp"); };
    if (const QString certificate = m_certificate->Accepted(); certificate != m_row.certificate) {
        fields[QStringLiteral("certificate")] = certificate;
    }
    add("transport", transport(m_transport->currentIndex() == 1), transport(m_row.overUdp));
    return fields;
}

void CameraEntryDialog::Ask(const char* method, const std::string& path, const QJsonObject& body,
                            ApiCaller::Done done) {
    m_api.Call(method, path, body,
               [self = QPointer<CameraEntryDialog>(this), done = std::move(done)](const ApiAnswer& answer) {
                   if (self) {
                       done(answer);
                   }
               });
}

void CameraEntryDialog::Say(const std::string& text) {
    m_message->setText(QString::fromStdString(text));
    m_message->setAccessibleName(m_message->text());
}

// The keyboard goes to the field that is wrong.
void CameraEntryDialog::Refused(const ApiAnswer& answer) {
    Say(FailureWords(answer));
    auto* const field = findChild<QWidget*>(answer.json["field"].toString());
    if (field != nullptr && !answer.json["field"].toString().isEmpty()) {
        field->setFocus();
    }
}

void CameraEntryDialog::SetBusy(bool bBusy) {
    m_buttons->button(QDialogButtonBox::Ok)->setEnabled(!bBusy);
}

void CameraEntryDialog::accept() {
    if (!m_buttons->button(QDialogButtonBox::Ok)->isEnabled()) {
        return;
    }
    const QString name = m_name->text().trimmed();
    if (name.isEmpty()) {
        Say(LoadString(kStrNeedsName));
        m_name->setFocus();
        return;
    }
    const bool bNew = m_row.channel < 0;
    QJsonObject body = m_address->isEnabled() ? Fields(bNew) : QJsonObject();
    if (bNew || name != m_row.name) {
        body[QStringLiteral("name")] = name;
    }
    if (body.isEmpty()) {
        QDialog::accept();
        return;
    }
    if (!bNew) {
        body[QStringLiteral("revision")] = m_revision;
    }
    SetBusy(true);
    Ask(bNew ? "POST" : "PATCH", bNew ? "/cameras" : CameraPath(m_row.channel), body,
        [this](const ApiAnswer& answer) {
            SetBusy(false);
            if (!answer.IsGood()) {
                Refused(answer);
                return;
            }
            m_row.channel = answer.json["camera"].toObject()["channel"].toInt(m_row.channel);
            QDialog::accept();
        });
}

// A test that nobody waits for is ended at the recorder, too.
void CameraEntryDialog::done(int result) {
    if (m_bTesting && m_nTest > 0) {
        m_api.Call("DELETE", "/tests/" + std::to_string(m_nTest), {}, [](const ApiAnswer&) {});
    }
    m_bTesting = false;
    ++m_nRound;
    m_poll.stop();
    QDialog::done(result);
}

// --- the test

void CameraEntryDialog::Trial() {
    if (m_bTesting) {
        if (m_nTest > 0) {
            m_api.Call("DELETE", "/tests/" + std::to_string(m_nTest), {}, [](const ApiAnswer&) {});
        }
        EndTrial(LoadString(kStrStopped));
        return;
    }
    QJsonObject body = Fields(m_row.channel < 0);
    if (m_row.channel >= 0) {
        body[QStringLiteral("channel")] = m_row.channel;
    }
    m_bTesting = true;
    m_nTest = 0;
    m_test->setText(Text(kStrStopTest));
    m_turning->Draw();
    m_turning->show();
    m_picture->hide();
    Say(LoadString(kStrTesting));
    const std::uint32_t round = ++m_nRound;
    Ask("POST", "/tests", body, [this, round](const ApiAnswer& answer) {
        if (round == m_nRound) {
            OnTrial(answer);
        } else if (answer.IsGood()) {  // stopped before it had a number
            const int number = answer.json["test"].toInt();
            m_api.Call("DELETE", "/tests/" + std::to_string(number), {}, [](const ApiAnswer&) {});
        }
    });
}

void CameraEntryDialog::OnTrial(const ApiAnswer& answer) {
    if (!answer.IsGood()) {
        EndTrial({});
        Refused(answer);
        return;
    }
    m_nTest = answer.json["test"].toInt();
    if (answer.json["state"].toString() == QLatin1String("running")) {
        m_poll.start();
        return;
    }
    const std::string test = "/tests/" + std::to_string(m_nTest);
    const bool bPicture = answer.json["picture"].toBool();
    std::string words;
    if (const int width = answer.json["width"].toInt(); width > 0) {
        words = FillPattern(LoadString(kStrWorks),
                            {OutsideLine(answer.json["codec"].toString().toStdString()),
                             std::to_string(width) + " x " + std::to_string(answer.json["height"].toInt()),
                             std::to_string(answer.json["first_picture_ms"].toInt())});
    } else {
        words = LoadString(kStrNoPicture);
    }
    const QJsonArray faults = answer.json["faults"].toArray();
    const QJsonArray codes = answer.json["fault_codes"].toArray();
    for (qsizetype i = 0; i < faults.size(); ++i) {
        const QJsonObject told = codes[i].toObject();
        const QJsonObject values = told["values"].toObject();
        words += "\n" + ToldWords(faults[i].toString(), told["code"].toString(), values);
        if (const QString shown = values["certificate"].toString(); !shown.isEmpty()) {
            words += "\n" + m_certificate->Offer(shown);
        }
    }
    EndTrial(words);
    if (bPicture) {
        Ask("GET", test + "/picture", {}, [this, round = m_nRound](const ApiAnswer& picture) {
            if (round == m_nRound) {
                ShowPicture(picture.picture);
            }
        });
    }
}

void CameraEntryDialog::EndTrial(const std::string& text) {
    m_bTesting = false;
    ++m_nRound;
    m_poll.stop();
    m_test->setText(Text(kStrTest));
    m_turning->Stop();
    m_turning->hide();
    Say(text);
}

void CameraEntryDialog::ShowPicture(const std::string& jpeg) {
    const QImage picture = EMapPicture({jpeg.begin(), jpeg.end()});
    if (picture.isNull()) {
        return;
    }
    QImage scaled =
        picture.scaled(kPictureSize * devicePixelRatioF(), Qt::KeepAspectRatio, Qt::SmoothTransformation);
    scaled.setDevicePixelRatio(devicePixelRatioF());
    m_picture->setPixmap(QPixmap::fromImage(scaled));
    m_picture->setMinimumSize(kPictureSize);
    m_picture->show();
    adjustSize();
}

}  // namespace kvmon
