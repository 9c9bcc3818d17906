// The three looks: what every window shows can be read, what stands open follows a change, and on a screen of
// more device pixels nothing is blurred.
//
// KVMON_PICTURES=FOLDER also saves a picture of each window in each look there, in the language of the module
// KVMON_PICTURE_LANGUAGE (say GER), at the scale QT_SCALE_FACTOR; and the signs of the cells, twice as large.
#include <gmock/gmock.h>

#include <QtCore/QBuffer>
#include <QtCore/QJsonDocument>
#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTabWidget>
#include <QtWidgets/QTreeWidget>
#include <memory>

#include "channel/cell/cell_icons.h"
#include "console/admin/cameras_dialog.h"
#include "console/camera/cell_menu.h"
#include "console/console_tables.h"
#include "console/dialogs/interval_dialog.h"
#include "console/dialogs/message_box.h"
#include "console/dialogs/pip_dialog.h"
#include "console/dialogs/recorder_entry_dialog.h"
#include "console/dialogs/recorder_list_dialog.h"
#include "console/dialogs/recorder_search_dialog.h"
#include "console/dialogs/set_lang_dlg.h"
#include "console/dialogs/settings_dlg.h"
#include "console/dialogs/sign_in_card.h"
#include "console/dialogs/toolkit_language.h"
#include "console/dialogs/unlock_dialog.h"
#include "console/events/event_window.h"
#include "console/site/emap_dlg.h"
#include "console/sound/send_sound_dlg.h"
#include "console/views/views_dialog.h"
#include "console_fixture.h"
#include "console_windows.h"
#include "persist/language_module.h"
#include "persist/orvo_registry.h"
#include "persist/string_table.h"
#include "rendered_contrast.h"
#include "server/documents/nvr_event.h"
#include "skin/button_art.h"
#include "skin/dialog_style.h"
#include "skin/look_keeper.h"
#include "skin/wait_dlg.h"
#include "skin/xskin_od_button.h"
#include "support/camera_api.h"
#include "support/fake_recorder.h"
#include "support/qt_user_input.h"

using namespace kvmon;
using kvtest::ContrastIn;
using kvtest::FaintParts;
using kvtest::FakeRecorder;
using kvtest::Pump;
using kvtest::PumpUntil;
using testing::IsEmpty;

namespace {

constexpr SkinLook kLooks[] = {SkinLook::Dark, SkinLook::Light, SkinLook::HighContrast};

const char* NameOf(SkinLook look) {
    return look == SkinLook::Dark ? "dark" : look == SkinLook::Light ? "light" : "contrast";
}

class Looks : public kvtest::ConsoleTest {
protected:
    Looks() {
        const QString wanted = qEnvironmentVariable("KVMON_PICTURE_LANGUAGE");
        for (const LanguageModuleFile& file : ListLanguageModules({KV_LANGUAGES})) {
            languages.push_back(file.langid);
            if (!wanted.isEmpty() && file.path.find("KVMON" + wanted.toStdString()) != std::string::npos) {
                UseLanguageModule(
                    std::make_shared<const LanguageModule>(LoadLanguageModule(file.path).value()));
                UseToolkitLanguage(file.langid);
            }
        }
    }
    ~Looks() override {
        Close();
        ApplySkin(*qApp);
        UseLanguageModule(nullptr);
        UseToolkitLanguage(0);
    }

    void Use(SkinLook look) {
        ApplySkin(*qApp, look);
        m_look = look;
    }
    void Check(QWidget& window, const std::string& name) {
        window.show();
        Pump();
        const QString pictures = qEnvironmentVariable("KVMON_PICTURES");
        if (!pictures.isEmpty()) {
            window.grab().save(QStringLiteral("%1/%2-%3.png").arg(pictures, name.c_str(), NameOf(m_look)));
        }
        EXPECT_THAT(FaintParts(window), IsEmpty()) << name << ", " << NameOf(m_look);
    }
    void CheckMenu(int key, Qt::KeyboardModifiers modifiers, const std::string& name) {
        QMenu* const menu = kvtest::OpenMenu(*console, key, modifiers);
        ASSERT_NE(menu, nullptr);
        Check(*menu, name);
        menu->close();
        Pump();
    }

    std::vector<std::uint16_t> languages;

private:
    SkinLook m_look = SkinLook::Dark;
};

const char* FileNameOf(CellIcon icon) {
    switch (icon) {
        case CellIcon::PtzOn:
            return "steer";
        case CellIcon::PtzOff:
            return "no-steer";
        case CellIcon::DigitalZoom:
            return "zoom";
        case CellIcon::SoundOn:
            return "sound";
        case CellIcon::SoundOff:
            return "no-sound";
        case CellIcon::Connected:
            return "connected";
        case CellIcon::NotConnected:
            return "not-connected";
        case CellIcon::Recording:
            return "recording";
        case CellIcon::ManualRecording:
            return "manual";
        case CellIcon::Event:
            return "event";
        case CellIcon::Motion:
            return "motion";
        case CellIcon::SignalLoss:
            return "loss";
        case CellIcon::Input:
            return "input";
        case CellIcon::Alarm:
            return "alarm";
    }
    return "";
}

void SaveSign(CellIcon icon, const StripColours& strip, const QString& folder) {
    QImage image(60, 2 * kIconHeight, QImage::Format_RGB32);
    image.fill(strip.ground);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(2, 2);
    DrawCellIcon(painter, icon, QRectF(0, 0, 30, kIconHeight), strip);
    painter.end();
    image.convertedTo(QImage::Format_Indexed8)
        .save(QStringLiteral("%1/sign-%2.png").arg(folder, FileNameOf(icon)));
}

// A button's sign on its face, and its edge on what it stands on.
void ExpectButtonSeen(int id, QSize size, ButtonLook look, bool bChecked, const SkinColours& colours) {
    QImage image(size + QSize(8, 8), QImage::Format_RGB32);
    image.fill(colours.section);
    QPainter painter(&image);
    painter.drawPixmap(4, 4, RenderButton(id, size, 1, look, bChecked, colours));
    painter.end();
    const std::string which = std::to_string(id) + " in state " + std::to_string(static_cast<int>(look)) +
                              (bChecked ? ", checked" : "");
    EXPECT_GE(ContrastIn(image, QRect(QPoint(6, 6), size - QSize(4, 4))), 3.0) << which;
    const bool bBare =
        (look == ButtonLook::kNormal || look == ButtonLook::kDisabled) && id >= 1805 && id <= 1808;
    if (!bBare) {
        EXPECT_GE(ContrastOf(image.pixel(4, 4 + size.height() / 2), colours.section), 3.0)
            << which << ", its edge";
    }
}

}  // namespace

TEST_F(Looks, SignsAndEdgesOfButtonsAndCells) {
    for (const SkinLook look : kLooks) {
        SCOPED_TRACE(NameOf(look));
        const SkinColours& colours = ColoursOf(look);
        for (const auto table : {ControlTable(), ToolTable()}) {
            for (const SkinControlRow& row : table) {
                for (int state = 0; HasButtonArt(row.id) && state < kButtonBitmaps; ++state) {
                    ExpectButtonSeen(row.id, {row.width, row.height},
                                     static_cast<ButtonLook>(state % kButtonLooks), state >= kButtonLooks,
                                     colours);
                }
            }
        }
        for (const StripColours* const strip : {&colours.active, &colours.inactive}) {
            for (const CellIcon icon : AllCellIcons()) {
                QImage image(30, kIconHeight, QImage::Format_RGB32);
                image.fill(strip->ground);
                QPainter painter(&image);
                DrawCellIcon(painter, icon, QRectF(image.rect()), *strip);
                painter.end();
                EXPECT_GE(ContrastIn(image, image.rect()), 3.0)
                    << CellIconText(icon).toStdString() << (strip == &colours.active ? ", active" : "");
                const QString pictures = qEnvironmentVariable("KVMON_PICTURES");
                if (!pictures.isEmpty() && look == SkinLook::Dark && strip == &colours.inactive) {
                    SaveSign(icon, *strip, pictures);
                }
            }
        }
    }
}

// Letters are told from what is just beside them: their rim, or the strip.
TEST_F(Looks, CaptionsOfCells) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    for (const SkinLook look : kLooks) {
        SCOPED_TRACE(NameOf(look));
        Use(look);
        for (const int n : {0, 1}) {
            CVideoWnd& cell = Cell(n);
            ASSERT_FALSE(cell.isHidden());
            const StripColours& strip =
                cell.IsWindowActive() ? ColoursOf(look).active : ColoursOf(look).inactive;
            const QImage image = cell.grab().toImage();
            EXPECT_EQ(image.pixel(cell.width() / 2, 6), strip.ground);
            int letters = 0;
            int read = 0;
            for (int y = 4; y < 22; ++y) {
                for (int x = 4; x < 90; ++x) {
                    if (image.pixel(x, y) != strip.text) {
                        continue;
                    }
                    ++letters;
                    read += ContrastOf(strip.text, image.pixel(x - 2, y)) >= 4.5 ||
                                    ContrastOf(strip.text, image.pixel(x + 2, y)) >= 4.5 ||
                                    ContrastOf(strip.text, image.pixel(x, y - 2)) >= 4.5 ||
                                    ContrastOf(strip.text, image.pixel(x, y + 2)) >= 4.5
                                ? 1
                                : 0;
                }
            }
            EXPECT_GE(letters, 10);
            EXPECT_GE(read, letters * 9 / 10);
        }
    }
}

TEST_F(Looks, Dialogs) {
    const SavedServer server{"Gate", "192.168.100.200", 8080, "operator", "secret", 16, true};
    kvtest::NobodySignsIn nobody;
    FakeRecorder admin;
    kvtest::GiveCameras(admin);
    for (const SkinLook look : kLooks) {
        Use(look);
        CSettingsDlg settings({}, 0, SnapshotFolder::Fixed, {}, nullptr);
        for (int tab = 0; tab < 3; ++tab) {
            settings.findChild<QTabWidget*>()->setCurrentIndex(tab);
            Check(settings, "options-" + std::to_string(tab));
        }
        CSetLangDlg language(languages, 0x0409, nullptr);
        Check(language, "language");
        RecorderListDialog list({server, server, server}, nullptr);
        Check(list, "recorders");
        RecorderSearchDialog search(
            {"127.0.0.1", 9}, [](const FoundRecorder&) {}, nullptr);
        Check(search, "recorder-search");
        RecorderEntryDialog entry({}, {}, EntryUse::Add, nullptr);
        entry.findChild<QLabel*>(QStringLiteral("message"))
            ->setText(QString::fromStdString(LoadString(6161)));
        Check(entry, "recorder");
        const SignInEntry entered{"192.168.100.200", 65535, "operator", "secret", false, false, "Hall"};
        SignInCard card(entered, {{entered}, true, true, true}, languages, 0x0409, nobody, nullptr);
        card.resize(800, 600);
        Check(card, "sign-in");
        NamedView tour;
        tour.name = "Tour";
        tour.steps = {{"Night shift", 3600}};
        NamedView night;
        night.name = "Night shift";
        night.cameras = {{"192.168.100.200", 8080, 3, "Loading ramp"},
                         {"192.168.100.200", 8080, 4, "Cellar"}};
        ViewsDialog views({tour, night}, night, std::vector<ViewCamera>(), nullptr);
        Check(views, "views");
        ViewsDialog absent({night, tour}, night, std::vector<ViewCamera>(), nullptr);
        Check(absent, "views-absent");
        CamerasDialog cameras({"127.0.0.1", admin.Port(), "admin", "secret"},
                              QJsonDocument::fromJson(kvtest::kCameraInfo).object(), nullptr);
        cameras.show();
        auto* const rows = cameras.findChild<QTreeWidget*>("cameras");
        ASSERT_TRUE(PumpUntil([&] { return rows->topLevelItemCount() == 4; }));
        Check(cameras, "cameras");
        cameras.findChild<QPushButton*>("change")->click();
        ASSERT_NE(kvtest::OpenWindow("cameraDialog"), nullptr);
        Check(*kvtest::OpenWindow("cameraDialog"), "camera");
        kvtest::OpenWindow("cameraDialog")->close();
        cameras.findChild<QPushButton*>("find")->click();
        ASSERT_NE(kvtest::OpenWindow("foundDialog"), nullptr);
        auto* const found = kvtest::OpenWindow("foundDialog")->findChild<QTreeWidget*>("found");
        ASSERT_TRUE(PumpUntil([&] { return found->topLevelItemCount() == 1; }));
        Check(*kvtest::OpenWindow("foundDialog"), "found-cameras");
        kvtest::OpenWindow("foundDialog")->close();
        UnlockDialog unlock(
            "operator", [](const std::string&) { return false; }, [] { return 60; }, nullptr);
        unlock.accept();
        Check(unlock, "unlock");
        PipDialog pip({}, {0, 1, 2, 3}, 3, nullptr);
        Check(pip, "pip");
        IntervalDialog interval(3600, nullptr);
        Check(interval, "interval");
        QWidget owner;
        OpenMessageBox(&owner, LoadString(3566), LoadString(5026));
        Check(*owner.findChild<QMessageBox*>(), "message");
        CWaitDlg wait(nullptr, CWaitDlg::Place::Above);
        wait.SetText(LoadString(1104));
        wait.SetCloseText(LoadString(6121));
        wait.Open(CWaitDlg::Input::Free);
        Check(wait, "wait");
        CSendSoundDlg talk(nullptr, nullptr);
        talk.findChild<QLabel*>()->setText(QString::fromStdString(LoadString(6500)));
        Check(talk, "talk");
        CNvrEventList log;
        for (const std::int32_t level : {kEventInformation, kEventWarning, kEventError}) {
            CNvrEvent event;
            event.m_strServer = "Hall";
            event.m_strContent = "Motion";
            event.m_strTime = "2024-05-06 07:08:09";
            event.m_nLevel = level;
            log.push_back(event);
        }
        EventList events;
        events.Update("Hall", log);
        CEventWindow window(nullptr, events);
        Check(window, "events");
    }
}

TEST_F(Looks, ConsoleItsMenusAndWindows) {
    site.bDesktop = true;
    FakeRecorder recorder("Hall", 6);
    QByteArray picture;
    QBuffer file(&picture);
    QImage plan(300, 200, QImage::Format_RGB32);
    plan.fill(Qt::gray);
    ASSERT_TRUE(plan.save(&file, "JPEG"));
    recorder.SetDocument("emap_show.cgi", kvtest::HttpReply(200, "OK", "<b>Map</b>"));
    recorder.SetDocument("/cgi-bin/data/images/emap.jpg",
                         kvtest::HttpReply(200, "OK", picture.toStdString()));
    for (const SkinLook look : kLooks) {
        Use(look);
        Open(recorder.Port());
        console->resize(1280, 800);
        Check(*console, "console");
        CheckMenu(Qt::Key_F10, Qt::NoModifier, "menu");
        CheckMenu(Qt::Key_F10, Qt::ShiftModifier, "cell-menu");
        kvtest::PressKey(*console, Qt::Key_F1);
        ASSERT_NE(kvtest::OpenWindow("keyboardHelp"), nullptr);
        Check(*kvtest::OpenWindow("keyboardHelp"), "keys");
        kvtest::OpenWindow("keyboardHelp")->close();
        Command(kCmdDiskStatus);
        ASSERT_NE(kvtest::OpenWindow("diskStatus"), nullptr);
        Check(*kvtest::OpenWindow("diskStatus"), "disk");
        kvtest::OpenWindow("diskStatus")->close();
        Command(kCmdPresetDialog);
        ASSERT_NE(kvtest::OpenWindow("presetDialog"), nullptr);
        Check(*kvtest::OpenWindow("presetDialog"), "presets");
        kvtest::OpenWindow("presetDialog")->close();
        kvtest::PressKey(*console, Qt::Key_S, Qt::ControlModifier);
        ASSERT_NE(kvtest::OpenWindow("snapshotGallery"), nullptr);
        Check(*kvtest::OpenWindow("snapshotGallery"), "gallery");
        kvtest::OpenWindow("snapshotGallery")->close();
        Command(kCmdEMap);
        auto* const map = console->Parts().windows.EMap();
        ASSERT_NE(map, nullptr);
        ASSERT_TRUE(PumpUntil([&] { return map->IsShown(); }));
        Check(*map, "map");
        map->close();
        Command(kCtlCameraList);
        console->Parts().feedback.Say("Gate 1.jpg", {{LoadString(6121), [] {}}});
        Check(*console, "drawer");
        Command(kCtlCameraList);
        Command(kCtlFullScreen);
        QWidget* const wall = console->DialogHost();
        kvtest::PressKey(*wall, Qt::Key_B);
        auto* const bar = wall->findChild<QWidget*>(QStringLiteral("wallBar"));
        ASSERT_TRUE(bar != nullptr && PumpUntil([&] { return bar->isVisible() && bar->y() == 0; }));
        Check(*bar, "bar");
        Command(kCtlFullScreen);
        Close();
        Pump();
    }
}

// The user's choice in the options: what is open is drawn anew, and nothing of the look before is left.
TEST_F(Looks, AChoiceChangesAllThatIsOpen) {
    class Site final : public kvtest::SilentSite {
    public:
        LookChoice GetLook() const override { return looks->Choice(); }
        void ChooseLook(LookChoice choice) override { looks->Choose(choice); }
        std::uint32_t GetServerPort() const override { return port; }
        LookKeeper* looks = nullptr;
        std::uint32_t port = 0;
    } host;
    FakeRecorder recorder("Hall", 4);
    LookKeeper looks(*qApp, LookChoice::Desktop, std::nullopt);
    EXPECT_EQ(looks.Look(), SkinLook::Dark);
    host.looks = &looks;
    host.port = recorder.Port();
    console = std::make_unique<CMainDlg>(host, nullptr, 0x0409, clock);
    console->OnInitDialog();
    console->show();
    console->AutoLogin("admin", "secret");
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().cells.GetCount() > 0; }));
    Command(kCtlCameraList);
    kvtest::PressKey(*console, Qt::Key_F1);
    Command(kCmdDiskStatus);
    const auto choose = [&](LookChoice choice) {
        Command(kCtlOptions);
        QWidget* const options = kvtest::OpenWindow("settingsDialog");
        ASSERT_NE(options, nullptr);
        options->findChild<QTabWidget*>()->setCurrentIndex(0);
        options->findChild<QComboBox*>(QStringLiteral("1630"))->setCurrentIndex(static_cast<int>(choice));
        Pump();
        for (QPushButton* const button : options->findChildren<QPushButton*>()) {
            if (button->isDefault()) {
                button->click();
            }
        }
        Pump();
    };
    std::vector<QWidget*> windows{console.get(), kvtest::OpenWindow("keyboardHelp"),
                                  kvtest::OpenWindow("diskStatus")};
    const auto surfaces = [](const SkinColours& c) {
        return std::vector<QRgb>{c.window, c.panel, c.section, c.field,      c.well,
                                 c.face,   c.edge,  c.ink,     c.cellGround, c.inactive.ground};
    };
    const std::pair<LookChoice, SkinLook> steps[] = {{LookChoice::Light, SkinLook::Light},
                                                     {LookChoice::HighContrast, SkinLook::HighContrast},
                                                     {LookChoice::Dark, SkinLook::Dark},
                                                     {LookChoice::Light, SkinLook::Light},
                                                     {LookChoice::Desktop, SkinLook::Dark}};
    SkinLook before = SkinLook::Dark;
    for (const auto& [choice, look] : steps) {
        choose(choice);
        EXPECT_EQ(looks.Look(), look);
        EXPECT_EQ(LoadLook(Registry()), choice);
        const std::vector<QRgb> own = surfaces(ColoursOf(look));
        for (QWidget* const window : windows) {
            ASSERT_NE(window, nullptr);
            const QImage image = window->grab().toImage();
            for (const QRgb old : surfaces(ColoursOf(before))) {
                if (std::find(own.begin(), own.end(), old) != own.end() || old == 0xff000000 ||
                    old == 0xffffffff) {  // these two are in pictures and captions of every look
                    continue;
                }
                int left = 0;
                for (int y = 0; y < image.height(); ++y) {
                    for (int x = 0; x < image.width(); ++x) {
                        left += image.pixel(x, y) == old ? 1 : 0;
                    }
                }
                EXPECT_LT(left, 40) << window->objectName().toStdString() << " has " << std::hex << old
                                    << " of " << NameOf(before) << " in " << NameOf(look);
            }
            EXPECT_THAT(FaintParts(*window), IsEmpty()) << NameOf(look);
        }
        before = look;
    }
    // The desktop's own wish counts where the user has none.
    looks.OnDesktop(SkinLook::Light);
    EXPECT_EQ(looks.Look(), SkinLook::Light);
    looks.OnDesktop(std::nullopt);
    EXPECT_EQ(looks.Look(), SkinLook::Dark);
    looks.Choose(LookChoice::HighContrast);
    looks.OnDesktop(SkinLook::Light);
    EXPECT_EQ(looks.Look(), SkinLook::HighContrast);
    Close();
}
