// A user who knows no address: from the card by the network to the wall.
#include <gmock/gmock.h>

#include <QtCore/QProcess>
#include <QtWidgets/QDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QTreeWidget>

#include "console/dialogs/empty_hint.h"
#include "sign_in_fixture.h"
#include "support/search_beacon.h"

using namespace kvmon;
using kvtest::PressKey;
using kvtest::PumpUntil;
using kvtest::RecorderAnswer;
using testing::ElementsAre;

namespace {

constexpr std::uint32_t kTextStopped = 7452;
constexpr std::uint32_t kTextStop = 7453;
constexpr std::uint32_t kTextAgain = 7532;
constexpr std::uint32_t kTextLooking = 7614;
constexpr std::uint32_t kTextNothing = 7616;

class RecorderSearches : public kvtest::SignInTest {
protected:
    void Search(std::uint16_t port, const std::function<void()>& use) {
        Run({"--search-from", "127.0.0.1:" + std::to_string(port)}, [&] {
            ASSERT_TRUE(HasCard());
            Find("address")->setFocus();
            Key(Qt::Key_Tab);
            ASSERT_EQ(Focus(), "search");
            Key(Qt::Key_Space);
            ASSERT_TRUE(PumpUntil([&] { return Dialog() != nullptr; }));
            use();
        });
    }
    QDialog* Dialog() { return Find<QDialog>("recorderSearch"); }
    QTreeWidget& List() { return *Dialog()->findChild<QTreeWidget*>(); }
    std::string Button(const char* name) {
        return Dialog()->findChild<QPushButton*>(QString(name))->text().toStdString();
    }
    bool HasRows(int count) {
        return PumpUntil([&] { return List().topLevelItemCount() == count; });
    }
    std::vector<std::string> Row(int row) {
        std::vector<std::string> texts;
        for (int column = 0; column < 3; ++column) {
            texts.push_back(List().topLevelItem(row)->text(column).toStdString());
        }
        return texts;
    }
    bool HintSays(const std::string& words) {
        return PumpUntil([&] {
            const auto hints = Dialog()->findChildren<QLabel*>();
            return std::any_of(hints.begin(), hints.end(), [&](QLabel* label) {
                return dynamic_cast<EmptyHint*>(label) != nullptr && label->isVisible() &&
                       label->text().toStdString() == words;
            });
        });
    }
};

// What a program printed behind `begin`, as a number.
std::uint16_t NumberBehind(QProcess& process, const QByteArray& begin) {
    QByteArray line;
    while (!line.startsWith(begin) && (process.canReadLine() || process.waitForReadyRead(20'000))) {
        line = process.canReadLine() ? process.readLine() : line;
    }
    return line.mid(begin.size()).trimmed().toUShort();
}

}  // namespace

TEST_F(RecorderSearches, ANewcomerFindsTheRecorderByKeysAloneAndItsLoginLater) {
    QProcess program;
    program.start(KVRECORDER_PROGRAM,
                  {"--listen", "127.0.0.1:0", "--channels", "1", "--search-listen", "127.0.0.1:0"});
    const std::uint16_t served = NumberBehind(program, "kvrecorder: listening on 127.0.0.1:");
    const std::uint16_t asked = NumberBehind(program, "kvrecorder: found by those who ask on port ");
    ASSERT_NE(asked, 0) << program.readAllStandardError().toStdString();
    Search(asked, [&] {
        ASSERT_TRUE(HasRows(1));
        EXPECT_THAT(Row(0), ElementsAre("kvrecorder", "127.0.0.1", std::to_string(served)));
        PressKey(List(), Qt::Key_Return);
        ASSERT_TRUE(PumpUntil([&] { return Dialog() == nullptr; }));
        EXPECT_EQ(Field("address"), "127.0.0.1");
        EXPECT_EQ(Find<QSpinBox>("port")->value(), served);
        EXPECT_EQ(Focus(), "user");
        Type("admin");
        Key(Qt::Key_Tab);
        Type("admin");
        Click(Find("remember"));
        Find("password")->setFocus();
        Key(Qt::Key_Return);
        ASSERT_TRUE(HasWall());
    });
    Search(asked, [&] {
        Find("address")->setFocus();
        Type("192.0.2.1");
        ASSERT_EQ(Field("password"), "");
        ASSERT_TRUE(HasRows(1));
        kvtest::ClickAt(*Dialog()->findChild<QPushButton*>(QStringLiteral("choose")), QPointF(8, 8));
        ASSERT_TRUE(PumpUntil([&] { return Dialog() == nullptr; }));
        EXPECT_EQ(Field("user"), "admin");
        EXPECT_EQ(Field("password"), "admin");
        EXPECT_EQ(Focus(), "password");
    });
    program.terminate();
    EXPECT_TRUE(program.waitForFinished(20'000));
}

TEST_F(RecorderSearches, WhatLiesIsTakenCalmly) {
    const kvtest::SearchBeacon beacon([](const std::string& mark) {
        const std::string good = RecorderAnswer(mark, "Hall", 8090);
        std::vector<std::string> answers = {"",
                                            std::string(2000, 'x'),
                                            good.substr(0, good.size() - 1),
                                            good + "x",
                                            RecorderAnswer("00000000", "Other question", 1),
                                            RecorderAnswer(mark, "No port", 0),
                                            RecorderAnswer(mark, "Nor\xE2\x80\xAEth\x1B[2J\n\x80", 1),
                                            RecorderAnswer(mark, std::string(255, 'W'), 2),
                                            RecorderAnswer(mark, "", 3)};
        for (int i = 0; i < 3000; ++i) {
            answers.push_back(RecorderAnswer(mark, "Flood", static_cast<std::uint16_t>(4 + i)));
        }
        return answers;
    });
    Search(beacon.Port(), [&] {
        ASSERT_TRUE(HasRows(8)) << List().topLevelItemCount();
        EXPECT_EQ(Row(0)[2], "1");
        EXPECT_EQ(Row(0)[0].find_first_of("\x1B\n"), std::string::npos);
        EXPECT_EQ(Row(0)[0].find("\xE2\x80\xAE"), std::string::npos);
        EXPECT_EQ(Row(1)[0], std::string(255, 'W'));
        EXPECT_LE(Dialog()->width(), 1000);
        EXPECT_THAT(Row(7), ElementsAre("Flood", "127.0.0.1", "8"));
        // All questions, and the end of the search.
        ASSERT_TRUE(PumpUntil([&] { return Button("again") == LoadString(kTextAgain); }));
        EXPECT_EQ(List().topLevelItemCount(), 8);
        EXPECT_GE(beacon.Questions(), 1);
    });
}

TEST_F(RecorderSearches, WhereNothingAnswersItSaysWhatToDoAndStopsOnDemand) {
    const kvtest::SearchBeacon beacon([](const std::string&) { return std::vector<std::string>(); });
    Search(beacon.Port(), [&] {
        EXPECT_TRUE(HintSays(LoadString(kTextLooking)));
        auto& progress = *Dialog()->findChild<QProgressBar*>();
        EXPECT_TRUE(PumpUntil([&] { return progress.isVisible() && progress.value() > 0; }));
        EXPECT_EQ(Button("again"), LoadString(kTextStop));
        PressKey(*Dialog()->findChild<QPushButton*>(QStringLiteral("again")), Qt::Key_Space);
        EXPECT_TRUE(PumpUntil([&] {
            return Dialog()->findChild<QLabel*>(QStringLiteral("message"))->text().toStdString() ==
                   LoadString(kTextStopped);
        }));
        EXPECT_FALSE(progress.isVisible());
        PressKey(*Dialog()->findChild<QPushButton*>(QStringLiteral("again")), Qt::Key_Space);
        EXPECT_TRUE(HintSays(LoadString(kTextNothing)));
        EXPECT_FALSE(progress.isVisible());
        EXPECT_FALSE(Dialog()->findChild<QPushButton*>(QStringLiteral("choose"))->isEnabled());
        PressKey(*Dialog(), Qt::Key_Escape);
        EXPECT_TRUE(PumpUntil([&] { return Dialog() == nullptr && Focus() == "search"; }));
    });
}
