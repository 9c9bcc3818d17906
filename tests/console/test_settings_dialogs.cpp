// The dialogs for options, language and recorders: what can be pressed, what they keep, what follows.
#include <gmock/gmock.h>

#include <QtGui/QAccessible>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QTabBar>
#include <QtWidgets/QTabWidget>
#include <QtWidgets/QTableWidget>

#include "channel/camera/base_camera.h"
#include "console/dialogs/recorder_entry_dialog.h"
#include "console/dialogs/recorder_list_dialog.h"
#include "console/dialogs/set_lang_dlg.h"
#include "console/dialogs/settings_dlg.h"
#include "console/settings/recorder_entry.h"
#include "console_fixture.h"
#include "open_dialog.h"
#include "persist/string_table.h"
#include "server/kelvara_info.h"
#include "skin/picture_ex.h"
#include "support/fake_recorder.h"
#include "support/qt_user_input.h"

using namespace kvmon;
using kvtest::ClickAt;
using kvtest::FakeRecorder;
using kvtest::FindOpen;
using kvtest::PressKey;
using kvtest::Pump;
using kvtest::PumpUntil;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

QPushButton& OkOf(const QDialog& dialog) {
    return *dialog.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok);
}

template <typename Control>
Control& Get(const QWidget& dialog, const char* name) {
    auto* const control = dialog.findChild<Control*>(name);
    if (control == nullptr) {
        throw std::runtime_error(std::string("no control ") + name);
    }
    return *control;
}

std::vector<std::string> FocusableWithoutName(const QWidget& dialog) {
    std::vector<std::string> nameless;
    for (QWidget* const widget : dialog.findChildren<QWidget*>()) {
        const bool bInner = widget->window() != &dialog || widget->focusProxy() != nullptr ||
                            widget->objectName().startsWith("qt_");
        if (bInner || (widget->focusPolicy() & Qt::TabFocus) == 0) {
            continue;
        }
        QAccessibleInterface* const face = QAccessible::queryAccessibleInterface(widget);
        if (face == nullptr || face->text(QAccessible::Name).isEmpty()) {
            nameless.push_back(widget->metaObject()->className() + widget->objectName().toStdString());
        }
    }
    return nameless;
}

class SettingsDialogs : public kvtest::ConsoleTest {
protected:
    CSettingsDlg& OpenSettings() {
        Command(kCtlOptions);
        auto* const dialog = FindOpen<CSettingsDlg>();
        if (dialog == nullptr) {
            throw std::runtime_error("no settings dialog");
        }
        return *dialog;
    }
    static void Set(CSettingsDlg& dialog, const char* check, bool on) {
        Get<QCheckBox>(dialog, check).setChecked(on);
        Pump();
    }
};

SavedServer Entry(const std::string& address, std::uint32_t port, const std::string& password = "secret") {
    SavedServer entry;
    entry.address = address;
    entry.port = port;
    entry.user = "admin";
    entry.password = password;
    return entry;
}

// The words that a trial of the entry ends with.
std::string Try(RecorderEntryDialog& dialog) {
    auto& test = Get<QPushButton>(dialog, "test");
    const QString idle = test.text();
    test.click();
    EXPECT_NE(test.text(), idle);
    EXPECT_TRUE(PumpUntil([&] { return test.text() == idle; }));
    return Get<QLabel>(dialog, "message").text().toStdString();
}

std::string Try(const SavedServer& entry, Milliseconds limit = Milliseconds(15000)) {
    RecorderEntryDialog dialog(entry, {}, EntryUse::Add, nullptr, limit);
    return Try(dialog);
}

}  // namespace

TEST_F(SettingsDialogs, OkCanBePressedExactlyWhenSomethingDiffers) {
    ConsoleOptions options;
    options.strSnapshotFolder = "/a";
    CSettingsDlg dialog(options, 0, SnapshotFolder::Chosen, {}, nullptr);
    const char* const checks[] = {"1503", "1509", "1510", "1511", "1512", "1504", "1508", "1513"};
    EXPECT_FALSE(OkOf(dialog).isEnabled());
    for (const char* const name : checks) {
        auto& check = Get<QCheckBox>(dialog, name);
        check.toggle();
        Pump();
        EXPECT_TRUE(OkOf(dialog).isEnabled()) << name;
        check.toggle();
        Pump();
        EXPECT_FALSE(OkOf(dialog).isEnabled()) << name;
    }
    Get<QLineEdit>(dialog, "1506").setText("/b");
    Pump();
    EXPECT_TRUE(OkOf(dialog).isEnabled());
    ConsoleOptions wanted = options;
    wanted.strSnapshotFolder = "/b";
    EXPECT_EQ(dialog.GetOptions(), wanted);
    EXPECT_THAT(FocusableWithoutName(dialog), IsEmpty());

    const CSettingsDlg fixedFolder(options, 0, SnapshotFolder::Fixed, {}, nullptr);
    for (const char* const name : {"1504", "1506", "1507"}) {
        EXPECT_FALSE(Get<QWidget>(fixedFolder, name).isEnabled()) << name;
    }
}

TEST_F(SettingsDialogs, TabThatDoesNotExistShowsNoPageUntilOneIsChosen) {
    CSettingsDlg dialog({}, 7, SnapshotFolder::Chosen, {}, nullptr);
    dialog.show();
    Pump();
    EXPECT_EQ(dialog.GetTab(), -1);
    EXPECT_FALSE(Get<QWidget>(dialog, "1503").isVisible());
    auto& tabs = Get<QTabWidget>(dialog, "4202");
    ClickAt(*tabs.tabBar(), tabs.tabBar()->tabRect(0).center());
    EXPECT_EQ(dialog.GetTab(), 0);
    EXPECT_TRUE(Get<QWidget>(dialog, "1503").isVisible());
    PressKey(*tabs.tabBar(), Qt::Key_Right);
    PressKey(*tabs.tabBar(), Qt::Key_Right);
    PressKey(*tabs.tabBar(), Qt::Key_Right);
    EXPECT_EQ(dialog.GetTab(), 2);
}

TEST_F(SettingsDialogs, OptionsTakeEffectAtOnceAndAreStored) {
    FakeRecorder recorder("Hall", {{"a"}, {"b", false}, {"c", true, false}, {"d"}});
    Open(recorder.Port());
    constexpr std::uint32_t kBlink = 84;
    CSettingsDlg& dialog = OpenSettings();
    Get<QTabWidget>(dialog, "4202").setCurrentIndex(1);
    Set(dialog, "1510", true);
    Set(dialog, "1511", false);
    Set(dialog, "1512", false);
    OkOf(dialog).click();
    EXPECT_TRUE(Cell(0).IsTimerSet(kBlink));
    EXPECT_TRUE(PumpUntil([&] { return ShownNames() == std::vector<std::string>{"a", "d", "-", "-"}; }));
    EXPECT_EQ(Registry().GetProfileInt("Hall", "ShowNoConfig", 7), 0u);
    EXPECT_EQ(Registry().GetProfileInt("Hall", "SettingsTabIdx", 7), 1u);
    EXPECT_EQ(Registry().GetProfileInt("Hall", "ShowBrowserToolbar", 7), 7u);  // did not change

    Close();
    Open(recorder.Port());
    EXPECT_TRUE(Cell(3).IsTimerSet(kBlink));
    CSettingsDlg& again = OpenSettings();
    EXPECT_EQ(again.GetTab(), 1);
    Set(again, "1510", false);
    Set(again, "1511", true);
    Set(again, "1512", true);
    OkOf(again).click();
    EXPECT_FALSE(Cell(3).IsTimerSet(kBlink));
    EXPECT_TRUE(PumpUntil([&] { return ShownNames() == std::vector<std::string>{"a", "b", "c", "d"}; }));
}

TEST_F(SettingsDialogs, RecordersComeAndGoWhileTheConsoleRuns) {
    FakeRecorder first("Hall", 2), second("Yard", 1), third("Gate", 1);
    Open(first.Port());
    ServerBinding& binding = console->Parts().binding;
    SavedServer yard = Entry("127.0.0.1", second.Port());
    yard.name = "My yard";
    yard.nameGiven = true;
    binding.ChangeServers({yard, Entry("127.0.0.1", third.Port())});
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().cameras.GetCount() == 4; }));
    EXPECT_EQ(console->Parts().view.GetShowableCount(), 4);
    const auto gate = console->Parts().cameras.GetCameraByChannel(3);

    // The one in the middle goes; the last one goes on with the same channel.
    binding.ChangeServers({Entry("127.0.0.1", third.Port())});
    EXPECT_EQ(console->Parts().recorders.GetServerCount(), 2);
    EXPECT_EQ(console->Parts().recorders.GetServer(1)->GetIdx(), 1);
    EXPECT_EQ(console->Parts().cameras.GetCameraByChannel(2), gate);
    EXPECT_EQ(console->Parts().view.GetShowableCount(), 3);

    // Another password is another login.
    binding.ChangeServers({yard, Entry("127.0.0.1", third.Port(), "other")});
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().cameras.GetCount() == 4; }));
    EXPECT_NE(console->Parts().cameras.GetCameraByChannel(3), gate);

    // A new login brings all of them back.
    Command(kCtlLogout);
    ASSERT_TRUE(PumpUntil([&] { return !console->IsTimerSet(kTimerStopping); }));
    console->AutoLogin("admin", "secret");
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().cameras.GetCount() == 4; }));

    Close();
    Open(first.Port());
    EXPECT_EQ(console->Parts().cameras.GetCount(), 4);
    const std::vector<SavedServer> kept = console->Parts().binding.DescribeServers();
    ASSERT_THAT(kept, SizeIs(3));
    EXPECT_THAT((std::vector<std::string>{kept[0].name, kept[1].name + kept[2].name}),
                testing::Contains(HasSubstr("My yard")));  // not "Yard", which the recorder says
    console->Parts().binding.ChangeServers({});
    EXPECT_EQ(console->Parts().cameras.GetCount(), 2);
    EXPECT_THAT(LoadServerList(Registry(), ServerIdentity(kept[1])), IsEmpty());
}

TEST_F(SettingsDialogs, RecorderListIsEditedByKeyboard) {
    RecorderListDialog dialog({Entry("10.0.0.1", 80), Entry("10.0.0.2", 80), Entry("10.0.0.3", 80)}, nullptr);
    dialog.show();
    EXPECT_THAT(FocusableWithoutName(dialog), IsEmpty());
    EXPECT_FALSE(OkOf(dialog).isEnabled());
    auto& table = Get<QWidget>(dialog, "recorders");
    PressKey(table, Qt::Key_Delete);
    PressKey(table, Qt::Key_Return);
    auto* const entry = FindOpen<RecorderEntryDialog>();
    ASSERT_NE(entry, nullptr);
    EXPECT_THAT(FocusableWithoutName(*entry), IsEmpty());
    Get<QLineEdit>(*entry, "address").setText("10.0.0.1");
    OkOf(*entry).click();
    EXPECT_EQ(Get<QLabel>(*entry, "message").text().toStdString(), LoadString(6165));  // listed already
    Get<QLineEdit>(*entry, "address").setText("10.0.0.4");
    Get<QSpinBox>(*entry, "port").setValue(8080);
    OkOf(*entry).click();
    EXPECT_TRUE(OkOf(dialog).isEnabled());
    const auto servers = dialog.GetServers();
    ASSERT_THAT(servers, SizeIs(1));
    EXPECT_EQ(PlaceText(servers[0]), "10.0.0.4:8080");
}

TEST_F(SettingsDialogs, WithoutAFirstRecorderEachThatIsAddedIsListed) {
    RecorderListDialog dialog({}, nullptr);
    dialog.show();
    EXPECT_THAT(FocusableWithoutName(dialog), IsEmpty());
    auto& table = Get<QTableWidget>(dialog, "recorders");
    for (const char* const address : {"10.0.0.1", "10.0.0.2"}) {
        PressKey(table, Qt::Key_Insert);
        auto* const entry = FindOpen<RecorderEntryDialog>();
        ASSERT_NE(entry, nullptr);
        Get<QLineEdit>(*entry, "address").setText(address);
        Get<QLineEdit>(*entry, "user").setText("operator");
        OkOf(*entry).click();
    }
    EXPECT_EQ(table.rowCount(), 2);
    EXPECT_THAT(dialog.GetServers(), SizeIs(2));
    table.selectRow(0);
    PressKey(table, Qt::Key_Delete);
    ASSERT_THAT(dialog.GetServers(), SizeIs(1));
    EXPECT_EQ(PlaceText(dialog.GetServers()[0]), "10.0.0.2:80");
}

TEST_F(SettingsDialogs, AllRecordersOfTheListAreTestedAndItCanBeStopped) {
    FakeRecorder works("Hall", 3);
    FakeRecorder refuses("Yard", 1);
    FakeRecorder silent("Barn", 1);
    refuses.RefuseLogins(true);
    silent.GoSilent();
    RecorderListDialog dialog({Entry("10.0.0.1", 80), Entry("127.0.0.1", silent.Port()),
                               Entry("127.0.0.1", refuses.Port()), Entry("127.0.0.1", works.Port())},
                              nullptr);
    dialog.show();
    auto& table = Get<QTableWidget>(dialog, "recorders");
    auto& progress = Get<QProgressBar>(dialog, "progress");
    auto& test = Get<QPushButton>(dialog, "test");
    const auto state = [&](int row) { return table.item(row, 4)->text().toStdString(); };
    const auto says = [&](const std::string& words) {
        return PumpUntil([&] { return Get<QLabel>(dialog, "message").text().toStdString() == words; });
    };
    EXPECT_FALSE(progress.isVisible());
    PressKey(test, Qt::Key_Space);
    ASSERT_TRUE(says("2 of 3 recorders tested"));
    EXPECT_TRUE(progress.isVisible());
    EXPECT_EQ(progress.value(), 2);
    EXPECT_EQ(state(0), "");
    EXPECT_EQ(state(1), LoadString(6155));
    EXPECT_EQ(state(2), "The connection works. The recorder Hall has 3 channels.");
    PressKey(test, Qt::Key_Space);
    EXPECT_TRUE(says(LoadString(6158)));
    EXPECT_FALSE(progress.isVisible());
    EXPECT_EQ(state(2), "The connection works. The recorder Hall has 3 channels.");

    // Without the silent one it comes to its end; what was told of one that is changed is told no more.
    table.selectRow(0);
    PressKey(table, Qt::Key_Delete);
    PressKey(test, Qt::Key_Space);
    ASSERT_TRUE(says("2 of 2 recorders tested"));
    EXPECT_FALSE(progress.isVisible());
    EXPECT_EQ(state(0), LoadString(6155));
    table.selectRow(0);
    PressKey(table, Qt::Key_F2);
    OkOf(*FindOpen<RecorderEntryDialog>()).click();
    EXPECT_EQ(state(0), "");
    EXPECT_NE(state(1), "");
}

TEST_F(SettingsDialogs, EntryThatCannotWorkIsRefusedInWords) {
    const auto fault = [](auto change) {
        SavedServer entry = Entry("10.0.0.1", 80);
        change(entry);
        return FindEntryFault(entry, {});
    };
    EXPECT_EQ(fault([](SavedServer&) {}), "");
    EXPECT_EQ(fault([](SavedServer& e) { e.address.clear(); }), LoadString(6160));
    EXPECT_EQ(fault([](SavedServer& e) { e.address = "http://10.0.0.1"; }), LoadString(6161));
    EXPECT_EQ(fault([](SavedServer& e) { e.user.clear(); }), LoadString(6162));
    EXPECT_EQ(fault([](SavedServer& e) { e.user = "a:b"; }), LoadString(6163));
    EXPECT_EQ(fault([](SavedServer& e) { e.password.assign(64, 'x'); }), "Password is too long.");
    // Also passwords with a character that is enciphered to zero: each place has one at most.
    constexpr int kPlaces = 12;
    for (int n = 0; n < kPlaces * 127; ++n) {
        const auto word = [n](SavedServer& e) {
            e.password.assign(kPlaces, 'x');
            e.password[static_cast<std::size_t>(n / 127)] = static_cast<char>(1 + n % 127);
        };
        EXPECT_EQ(fault(word), "");
    }
}

TEST_F(SettingsDialogs, ASignTurnsWhileARecorderIsTried) {
    FakeRecorder recorder("Hall", 1);
    recorder.GoSilent();
    RecorderEntryDialog dialog(Entry("127.0.0.1", recorder.Port()), {}, EntryUse::Add, nullptr);
    dialog.show();
    CPictureEx* found = nullptr;
    for (QWidget* const child : dialog.findChildren<QWidget*>()) {
        found = found == nullptr ? dynamic_cast<CPictureEx*>(child) : found;
    }
    ASSERT_NE(found, nullptr);
    CPictureEx& sign = *found;
    EXPECT_FALSE(sign.isVisible());
    auto& test = Get<QPushButton>(dialog, "test");
    PressKey(test, Qt::Key_Space);
    ASSERT_TRUE(sign.isVisible());
    const QImage first = sign.grab().toImage();
    EXPECT_NE(first, first.copy(0, 0, 1, 1).scaled(first.size())) << "it draws";
    EXPECT_TRUE(PumpUntil([&] { return sign.grab().toImage() != first; })) << "it turns";
    PressKey(test, Qt::Key_Space);
    EXPECT_FALSE(sign.isVisible());
    EXPECT_EQ(Get<QLabel>(dialog, "message").text().toStdString(), LoadString(6158));
}

TEST_F(SettingsDialogs, TrialSaysWhatIsWrong) {
    FakeRecorder recorder("Hall", 3);
    const auto text = [](std::uint32_t id) { return LoadString(id); };
    RecorderEntryDialog dialog(Entry("127.0.0.1", recorder.Port()), {}, EntryUse::Add, nullptr);
    EXPECT_EQ(Try(dialog), "The connection works. The recorder Hall has 3 channels.");
    EXPECT_EQ(dialog.GetEntry().channelCount, 3u);
    EXPECT_EQ(dialog.GetEntry().name, "Hall");
    Get<QSpinBox>(dialog, "port").setValue(1);
    EXPECT_EQ(dialog.GetEntry().channelCount, 0u);  // told by another recorder

    recorder.RefuseLogins(true);
    EXPECT_EQ(Try(Entry("127.0.0.1", recorder.Port())), text(6155));
    {
        kvtest::ScriptedServer other([](kvtest::Peer& peer) {
            peer.ReadHead();
            peer.Write("HTTP/1.0 200 OK\r\n\r\n<html>hello</html>\n");
        });
        EXPECT_EQ(Try(Entry("127.0.0.1", other.Port())), text(6156));
    }
    std::uint16_t closedPort = 0;
    {
        kvtest::ScriptedServer gone([](kvtest::Peer&) {});
        closedPort = gone.Port();
    }
    EXPECT_EQ(Try(Entry("127.0.0.1", closedPort)), text(6154));

    FakeRecorder silent("Yard", 1);
    silent.GoSilent();
    EXPECT_EQ(Try(Entry("127.0.0.1", silent.Port()), Milliseconds(200)), text(6157));
    RecorderEntryDialog stopped(Entry("127.0.0.1", silent.Port()), {}, EntryUse::Add, nullptr);
    auto& test = Get<QPushButton>(stopped, "test");
    test.click();
    Pump();
    test.click();
    EXPECT_EQ(Get<QLabel>(stopped, "message").text().toStdString(), text(6158));
}

TEST(SetLangDlg, OffersLanguagesByTheirOwnNames) {
    EXPECT_EQ(LanguageName(1046), "Portuguese (Brazil)");
    EXPECT_EQ(LanguageName(0x0407), "Deutsch");
    EXPECT_EQ(LanguageName(0x0436), "1078 - ???");
    const CSetLangDlg one({0x0409}, 0x0409, nullptr);
    EXPECT_FALSE(Get<QComboBox>(one, "901").isEnabled());
    const CSetLangDlg two({0x0409, 0x0407}, 0x0407, nullptr);
    EXPECT_TRUE(Get<QComboBox>(two, "901").isEnabled());
    EXPECT_EQ(two.GetLanguage(), 0x0407);
    EXPECT_EQ(CSetLangDlg({}, 0x0409, nullptr).GetLanguage(), 0);
}
