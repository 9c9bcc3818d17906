// Signing in on the desktop: the card in the empty wall, from the key to the wall, and what the next start
// knows of it.
#include <gmock/gmock.h>

#include <QtWidgets/QAbstractItemView>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialog>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSpinBox>

#include "persist/orvo_registry.h"
#include "persist/string_table.h"
#include "server/server_messages.h"
#include "sign_in_fixture.h"
#include "skin/window_base.h"
#include "support/fake_recorder.h"
#include "support/qt_pump.h"
#include "support/qt_user_input.h"

using namespace kvmon;
using kvtest::ClickAt;
using kvtest::PressKey;
using kvtest::PumpUntil;
using kvtest::TypeText;

namespace {

constexpr std::uint32_t kTextRefused = 6155;
constexpr std::uint32_t kTextNothingListens = 6154;
constexpr std::uint32_t kTextNoAddress = 6160;
constexpr int kRefusalsUntilTold = 7;
constexpr int kItalianChoice = 0x0410;

std::string Words(std::uint32_t id) {
    return LoadString(id);
}

using SignIn = kvtest::SignInTest;

}  // namespace

TEST_F(SignIn, FromTheEmptyWallByKeysAloneAndBackToTheCard) {
    Run({}, [&] {
        ASSERT_TRUE(HasCard());
        EXPECT_EQ(Find<QLabel>("wallNotice"), nullptr);
        Key(Qt::Key_Return);
        EXPECT_TRUE(Says(Words(kTextNoAddress)));
        SignInByKeys("hunter2");
        ASSERT_TRUE(HasWall());
        EXPECT_GT(recorder.CountHeads(MakeBasicAuth("guard", "hunter2")), 0);

        ClickLogout();
        ASSERT_TRUE(HasCard());
        EXPECT_EQ(Field("address"), "127.0.0.1");
        EXPECT_EQ(Find<QSpinBox>("port")->value(), recorder.Port());
        EXPECT_EQ(Field("user"), "guard");
        EXPECT_EQ(Field("password"), "");
        EXPECT_EQ(Focus(), "password");
        // The same button leads back into the card.
        Find<QPushButton>("signInButton")->setFocus();
        ClickLogout();
        EXPECT_TRUE(PumpUntil([&] { return Focus() == "password"; }));
        Type("hunter2");
        Key(Qt::Key_Return);
        EXPECT_TRUE(HasWall());
    });
}

TEST_F(SignIn, WhatFailsIsToldAndNoSessionBegins) {
    Run({}, [&] {
        recorder.RefuseLogins(true);
        SignInByKeys("wrong");
        ASSERT_TRUE(Says(Words(kTextRefused)));
        EXPECT_EQ(Field("user"), "guard");
        EXPECT_EQ(Field("password"), "");
        EXPECT_EQ(Focus(), "password");
        EXPECT_EQ(window->findChild<QMessageBox*>(), nullptr);

        std::uint16_t closed = 0;
        {
            const kvtest::FakeRecorder gone("Gone", 1);
            closed = gone.Port();
        }
        recorder.RefuseLogins(false);
        Type("right");
        Find<QSpinBox>("port")->setFocus();
        Type(std::to_string(closed));
        Key(Qt::Key_Return);
        ASSERT_TRUE(Says(Words(kTextNothingListens)));
        EXPECT_EQ(Field("password"), "right");

        Find<QSpinBox>("port")->setFocus();
        Type(std::to_string(recorder.Port()));
        Click(Find("signInButton"));
        EXPECT_TRUE(HasWall());
    });
}

TEST_F(SignIn, ATryThatTakesLongCanBeCancelled) {
    recorder.GoSilent();
    Run({}, [&] {
        SignInByKeys("hunter2");
        auto* const button = Find<QPushButton>("signInButton");
        EXPECT_EQ(button->text().toStdString(), Words(6121));
        Key(Qt::Key_Return);  // a second one is no second try
        EXPECT_TRUE(Find<QLineEdit>("address")->isReadOnly());
        Key(Qt::Key_Escape);
        EXPECT_TRUE(Says(""));
        EXPECT_EQ(button->text().toStdString(), Words(7001));
        EXPECT_FALSE(Find<QLineEdit>("address")->isReadOnly());
    });
}

TEST_F(SignIn, NothingIsStoredOfALoginUnlessTheUserWantsIt) {
    Run({}, [&] {
        SignInByKeys("hunter2");
        ASSERT_TRUE(HasWall());
    });
    EXPECT_EQ(Registry().GetProfileString("Desktop", "Username", "none"), "none");
    EXPECT_EQ(Registry().GetProfileString("Desktop", "Passwd", "none"), "none");
    Run({}, [&] {
        ASSERT_TRUE(HasCard());
        EXPECT_EQ(Field("address"), "127.0.0.1");  // where the last session was
        EXPECT_EQ(Find<QSpinBox>("port")->value(), recorder.Port());
        EXPECT_EQ(Field("user"), "");
        EXPECT_FALSE(Find<QCheckBox>("remember")->isChecked());
        EXPECT_FALSE(Find<QCheckBox>("atStart")->isEnabled());
    });
}

TEST_F(SignIn, ARememberedLoginFillsTheCardAndIsForgottenOnDemand) {
    Run({}, [&] {
        ASSERT_TRUE(HasCard());
        Click(Find("remember"));
        Find("address")->setFocus();
        SignInByKeys("hunter2");
        ASSERT_TRUE(HasWall());
    });
    EXPECT_THAT(AllThatIsStored(), testing::Not(testing::HasSubstr("hunter2")));
    Run({}, [&] {
        ASSERT_TRUE(HasCard());
        EXPECT_EQ(Field("user"), "guard");
        EXPECT_EQ(Field("password"), "hunter2");
        EXPECT_TRUE(Find<QCheckBox>("remember")->isChecked());
        EXPECT_FALSE(Find<QCheckBox>("atStart")->isChecked());
        Key(Qt::Key_Return);
        ASSERT_TRUE(HasWall());
    });
    // The login is not used for another recorder, whether an option or the user names it.
    Run({"--server", "127.0.0.2"}, [&] {
        ASSERT_TRUE(HasCard());
        EXPECT_EQ(Field("address"), "127.0.0.2");
        EXPECT_EQ(Field("password"), "");
    });
    Run({}, [&] {
        ASSERT_TRUE(HasCard());
        EXPECT_EQ(Field("address"), "127.0.0.1");
        Find("address")->setFocus();
        Key(Qt::Key_End);
        Add("9");
        EXPECT_EQ(Field("password"), "");
        Key(Qt::Key_Backspace);
        Find("password")->setFocus();
        Type("hunter2");
        Click(Find("remember"));
        Find("password")->setFocus();
        Key(Qt::Key_Return);
        ASSERT_TRUE(HasWall());
    });
    EXPECT_EQ(Registry().GetProfileString("Desktop", "Username", ""), "");
    EXPECT_EQ(Registry().GetProfileString("Desktop", "Passwd", ""), "");
}

TEST_F(SignIn, AtTheStartWithoutTheCardAndWithItOnceRefused) {
    Run({}, [&] {
        ASSERT_TRUE(HasCard());
        Click(Find("remember"));
        Click(Find("atStart"));
        Find("address")->setFocus();
        SignInByKeys("hunter2");
        ASSERT_TRUE(HasWall());
    });
    Run({}, [&] {
        EXPECT_EQ(Find("signIn"), nullptr);
        EXPECT_TRUE(HasWall());
    });
    recorder.RefuseLogins(true);
    Run({}, [&] {
        // What the recorder's thread tells with each of its tries, which lie further and further apart.
        for (int i = 0; i < kRefusalsUntilTold; ++i) {
            dynamic_cast<WindowBase*>(window->findChild<QWidget*>(QStringLiteral("console")))
                ->SendMessage(WM_GETVSINFO_FAILED, kFailedAuthorization, 0);
        }
        ASSERT_TRUE(HasCard());
        EXPECT_TRUE(Says(Words(kTextRefused)));
        EXPECT_EQ(Field("user"), "guard");
        EXPECT_EQ(Field("password"), "");
        EXPECT_EQ(Focus(), "password");
        EXPECT_TRUE(Find<QCheckBox>("atStart")->isChecked());
    });
}

// The console is made anew: what was typed stays, and a session goes on.
TEST_F(SignIn, AnotherLanguageKeepsTheFieldsAndTheSession) {
    Run({}, [&] {
        ASSERT_TRUE(HasCard());
        const std::string before = Words(7001);
        Type("127.0.0.1");
        auto* const languages = Find<QComboBox>("language");
        const int row = languages->findData(static_cast<std::uint16_t>(kItalianChoice));
        ASSERT_GE(row, 0);
        languages->setFocus();
        Key(Qt::Key_Down);
        QPointer<QAbstractItemView> list(languages->view());
        ASSERT_TRUE(list->isVisible());
        while (list->currentIndex().row() != row) {
            const int old = list->currentIndex().row();
            PressKey(*list, old < row ? Qt::Key_Down : Qt::Key_Up);
            ASSERT_NE(list->currentIndex().row(), old);
            EXPECT_EQ(Words(7001), before);
        }
        PressKey(*list, Qt::Key_Return);
        ASSERT_TRUE(PumpUntil([&] { return Words(7001) != before; }));
        ASSERT_TRUE(HasCard());
        EXPECT_EQ(Find<QPushButton>("signInButton")->text().toStdString(), Words(7001));
        EXPECT_EQ(Field("address"), "127.0.0.1");
        Find("address")->setFocus();
        SignInByKeys("hunter2");
        ASSERT_TRUE(HasWall());

        // A session goes on in another language without the card.
        Click(window->findChild<QWidget*>(QStringLiteral("Language")));
        QDialog* dialog = nullptr;
        ASSERT_TRUE(PumpUntil([&] {
            dialog = Find<QDialog>("languageDialog");
            return dialog != nullptr;
        }));
        auto* const combo = dialog->findChild<QComboBox*>();
        combo->setCurrentIndex(combo->findData(std::uint16_t{0x0407}));
        const std::string italian = Words(7001);
        dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
        ASSERT_TRUE(PumpUntil([&] { return Words(7001) != italian; }));
        EXPECT_TRUE(HasWall());
    });
}
