#include "console/dialogs/sign_in_fields.h"

#include <QtGui/QKeyEvent>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QFrame>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QVBoxLayout>
#include <algorithm>

#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/set_lang_dlg.h"
#include "console/settings/recorder_entry.h"
#include "skin/plain_text.h"

namespace kvmon {

namespace {

constexpr int kTitleHeight = 18;
constexpr int kCardWidth = 440;
constexpr int kGap = 8;
constexpr int kButtonRoom = 24;   // beside the words
constexpr int kMessageLines = 3;  // as the longest text in any language has

constexpr std::uint32_t kStrTitle = 7000;
constexpr std::uint32_t kStrSignIn = 7001;
constexpr std::uint32_t kStrRemember = 7002;
constexpr std::uint32_t kStrAtStart = 7003;
constexpr std::uint32_t kStrCancel = 6121;
constexpr std::uint32_t kStrLanguage = 6123;
constexpr std::uint32_t kStrAddress = 6141;
constexpr std::uint32_t kStrPort = 6142;
constexpr std::uint32_t kStrUser = 6143;
constexpr std::uint32_t kStrPassword = 6144;
constexpr std::uint32_t kStrWelcome = 7201;
constexpr std::uint32_t kStrIntroduction = 7202;
constexpr std::uint32_t kStrDemo = 7203;
constexpr std::uint32_t kStrRecorder = 7206;
constexpr std::uint32_t kStrAnother = 7207;
constexpr std::uint32_t kStrForget = 7208;
constexpr std::uint32_t kStrForgetWhat = 7209;
constexpr std::uint32_t kStrSearch = 7610;
constexpr std::uint32_t kStrSearchWhat = 7611;

// A choice makes the console anew, so keys and the wheel must not choose each language that they pass: they
// open the list, or do nothing.
class LanguageBox final : public QComboBox {
protected:
    void keyPressEvent(QKeyEvent* event) override {
        switch (event->key()) {
            case Qt::Key_Enter:
            case Qt::Key_Return:
            case Qt::Key_Escape:
                event->ignore();
                break;
            default:
                if (event->text().isEmpty() && event->key() != Qt::Key_Down && event->key() != Qt::Key_Up &&
                    event->key() != Qt::Key_F4) {
                    QComboBox::keyPressEvent(event);
                    break;
                }
                showPopup();
                event->accept();
        }
    }
    void wheelEvent(QWheelEvent* event) override { event->ignore(); }
};

QString PlaceOf(const SignInEntry& entry) {
    return QString::fromStdString(entry.user + "@" + PlaceText(ServerOf(entry)));
}

// The name that the recorder told, where that is enough to know it among the others.
QString ChoiceText(const SignInEntry& entry, const std::vector<SignInEntry>& all) {
    const auto namesakes = std::count_if(all.begin(), all.end(), [&entry](const SignInEntry& each) {
        return each.name == entry.name && each.user == entry.user;
    });
    return entry.name.empty() || namesakes > 1 ? PlaceOf(entry)
                                               : QString::fromStdString(entry.name + " - " + entry.user);
}

QLabel* MakeTitle(QFrame& card, std::uint32_t text) {
    auto* const title = new QLabel(Text(text), &card);
    title->setObjectName(QStringLiteral("title"));
    title->setWordWrap(true);
    QFont large = title->font();
    large.setPixelSize(kTitleHeight);
    title->setFont(large);
    return title;
}

QPushButton* MakeButton(QFrame& card, const char* name, std::uint32_t text) {
    auto* const button = new QPushButton(Text(text), &card);
    button->setObjectName(QString(name));
    button->setAutoDefault(false);
    return button;
}

QComboBox* MakeChoice(QFrame& card, const SignInOffer& offer) {
    auto* const choice = new QComboBox(&card);
    choice->setObjectName(QStringLiteral("recorder"));
    choice->setAccessibleName(Text(kStrRecorder));
    // A long name must not make the card wider.
    choice->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    choice->setMinimumContentsLength(8);
    for (const SignInEntry& entry : offer.remembered) {
        choice->addItem(ChoiceText(entry, offer.remembered));
        choice->setItemData(choice->count() - 1, MarkupOf(PlaceOf(entry).toStdString()), Qt::ToolTipRole);
    }
    choice->addItem(Text(kStrAnother));
    return choice;
}

QComboBox* MakeLanguages(QFrame& card, const std::vector<std::uint16_t>& languages, std::uint16_t language) {
    auto* const box = new LanguageBox;
    box->setParent(&card);
    for (const std::uint16_t langid : languages) {
        box->addItem(QString::fromStdString(LanguageName(langid)), langid);
    }
    box->setCurrentIndex(box->findData(language));
    box->setEnabled(box->count() >= 2);
    return box;
}

SignInFields Make(QFrame& card, const SignInEntry& entry, const SignInOffer& offer) {
    SignInFields fields;
    fields.choice = MakeChoice(card, offer);
    fields.forget = MakeButton(card, "forget", kStrForget);
    fields.forget->setToolTip(Text(kStrForgetWhat));
    fields.forget->setAccessibleDescription(Text(kStrForgetWhat));
    fields.address = new QLineEdit(QString::fromStdString(entry.address), &card);
    fields.search = MakeButton(card, "search", kStrSearch);
    fields.search->setToolTip(Text(kStrSearchWhat));
    fields.search->setAccessibleDescription(Text(kStrSearchWhat));
    fields.port = new QSpinBox(&card);
    fields.port->setRange(1, 65535);
    fields.port->setValue(static_cast<int>(entry.port));
    for (QWidget* const field : {static_cast<QWidget*>(fields.address), static_cast<QWidget*>(fields.port)}) {
        field->setEnabled(!offer.bThisRecorderAlone);
    }
    fields.user = new QLineEdit(QString::fromStdString(entry.user), &card);
    fields.password = new QLineEdit(QString::fromStdString(entry.password), &card);
    fields.password->setEchoMode(QLineEdit::Password);
    fields.remember = new QCheckBox(Text(kStrRemember), &card);
    fields.remember->setObjectName(QStringLiteral("remember"));
    fields.remember->setChecked(entry.bRemember);
    fields.atStart = new QCheckBox(Text(kStrAtStart), &card);
    fields.atStart->setObjectName(QStringLiteral("atStart"));
    fields.atStart->setEnabled(entry.bRemember);
    fields.atStart->setChecked(entry.bRemember && entry.bAtStart);
    fields.demo = MakeButton(card, "demo", kStrDemo);
    fields.demo->setMinimumWidth(fields.demo->sizeHint().width() + kButtonRoom);
    fields.button = new QPushButton(Text(kStrSignIn), &card);
    fields.button->setObjectName(QStringLiteral("signInButton"));
    fields.button->setDefault(true);
    fields.message = MakeMessageLabel(&card, kMessageLines);
    fields.message->setObjectName(QStringLiteral("message"));
    fields.message->setMinimumHeight(kMessageLines * fields.message->fontMetrics().lineSpacing());
    fields.message->setForegroundRole(QPalette::BrightText);
    return fields;
}

// Two fields that share a row.
QHBoxLayout* Beside(QWidget* first, QWidget* second) {
    auto* const line = new QHBoxLayout;
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(kGap);
    line->addWidget(first, 1);
    line->addWidget(second);
    return line;
}

// The Tab key follows the same order.
void Arrange(QFrame& card, const SignInFields& fields, const SignInOffer& offer) {
    auto* const form = new QFormLayout(&card);
    form->setContentsMargins(24, 20, 24, 20);
    form->setVerticalSpacing(10);
    form->setHorizontalSpacing(14);
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    form->addRow(MakeTitle(card, offer.bFirstStart ? kStrWelcome : kStrTitle));
    if (offer.bFirstStart && offer.bDemo) {
        auto* const words = new QLabel(Text(kStrIntroduction), &card);
        words->setObjectName(QStringLiteral("introduction"));
        words->setWordWrap(true);
        form->addRow(words);
    }
    const bool bChoice = !offer.remembered.empty();
    fields.choice->setVisible(bChoice);
    fields.forget->setVisible(bChoice);
    if (bChoice) {
        form->addRow(Text(kStrRecorder), Beside(fields.choice, fields.forget));
    }
    fields.search->setVisible(!offer.bThisRecorderAlone);
    fields.demo->setVisible(offer.bDemo);
    const struct {
        QWidget* field;
        const char* name;
        std::uint32_t label;
        QWidget* beside;
    } rows[] = {{fields.address, "address", kStrAddress, fields.search},
                {fields.port, "port", kStrPort, nullptr},
                {fields.user, "user", kStrUser, nullptr},
                {fields.password, "password", kStrPassword, nullptr},
                {fields.remember, "remember", 0, nullptr},
                {fields.atStart, "atStart", 0, nullptr},
                {fields.languages, "language", kStrLanguage, nullptr}};
    for (const auto& row : rows) {
        row.field->setObjectName(QString(row.name));
        if (row.label == 0) {
            form->addRow(QString(), row.field);
            continue;
        }
        row.field->setAccessibleName(Text(row.label));
        row.beside != nullptr ? form->addRow(Text(row.label), Beside(row.field, row.beside))
                              : form->addRow(Text(row.label), row.field);
    }
    form->addRow(fields.message);
    auto* const line = new QHBoxLayout;
    line->addWidget(fields.demo);
    line->addStretch();
    line->addWidget(fields.button);
    form->addRow(line);
    QWidget* const order[] = {fields.choice,  fields.forget,    fields.address,  fields.search,
                              fields.port,    fields.user,      fields.password, fields.remember,
                              fields.atStart, fields.languages, fields.demo,     fields.button};
    for (std::size_t i = 1; i < std::size(order); ++i) {
        QWidget::setTabOrder(order[i - 1], order[i]);
    }
}

}  // namespace

SavedServer ServerOf(const SignInEntry& entry) {
    return {{}, entry.address, entry.port, entry.user, entry.password, 0};
}

SignInFields MakeSignInFields(const SignInEntry& entry, const SignInOffer& offer,
                              const std::vector<std::uint16_t>& languages, std::uint16_t language,
                              QWidget& over) {
    auto* const card = new QFrame(&over);
    card->setObjectName(QStringLiteral("signInCard"));
    card->setFrameShape(QFrame::StyledPanel);
    card->setAutoFillBackground(true);
    card->setBackgroundRole(QPalette::Window);
    card->setFixedWidth(kCardWidth);
    SignInFields fields = Make(*card, entry, offer);
    fields.languages = MakeLanguages(*card, languages, language);
    Arrange(*card, fields, offer);
    auto* const place = new QVBoxLayout(&over);
    place->setContentsMargins(0, 0, 0, 0);
    place->addWidget(card, 0, Qt::AlignCenter);
    return fields;
}

SignInEntry SignInFields::GetEntry() const {
    SignInEntry entry;
    entry.address = address->text().trimmed().toStdString();
    entry.port = static_cast<std::uint32_t>(port->value());
    entry.user = user->text().toStdString();
    entry.password = password->text().toStdString();
    entry.bRemember = remember->isChecked();
    entry.bAtStart = atStart->isChecked();
    return entry;
}

void SignInFields::SetTrying(bool bTrying) const {
    for (QLineEdit* const field : {address, user, password}) {
        field->setReadOnly(bTrying);
    }
    port->setReadOnly(bTrying);
    port->setButtonSymbols(bTrying ? QAbstractSpinBox::NoButtons : QAbstractSpinBox::UpDownArrows);
    button->setText(Text(bTrying ? kStrCancel : kStrSignIn));
}

}  // namespace kvmon
