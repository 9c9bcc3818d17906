// "Cameras..." by clicks and keys, in front of a real recorder whose searches and tests are the test's.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <QtCore/QBuffer>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMenu>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTreeWidget>
#include <atomic>
#include <fstream>
#include <sstream>

#include "console_fixture.h"
#include "fake_hub.h"
#include "menu_entries.h"
#include "onvif/onvif_control.h"
#include "persist/language_module.h"
#include "persist/string_table.h"
#include "service/camera_tests.h"
#include "service/config_keeper.h"
#include "service/recorder_service.h"
#include "support/fake_recorder.h"
#include "support/onvif_device/onvif_beacon.h"
#include "support/onvif_device/onvif_device.h"
#include "support/qt_user_input.h"

using kvtest::ClickAt;
using kvtest::PressKey;
using kvtest::Pump;
using kvtest::PumpUntil;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

namespace {

const char* const kChannels = R"(
[[channels]]
name = "Gate"
source = { url = "rtsp://192.0.2.1/a", user = "guard", password = "hidden" }
[[channels]]
name = "Yard"
# end
)";

// Until its end.
class LanguageInUse {
public:
    explicit LanguageInUse(const char* file) {
        auto module = kvmon::LoadLanguageModule(std::string(KV_LANGUAGES) + "/" + file);
        EXPECT_TRUE(module.has_value()) << file;
        kvmon::UseLanguageModule(std::make_shared<const kvmon::LanguageModule>(std::move(module).value()));
    }
    ~LanguageInUse() { kvmon::UseLanguageModule(nullptr); }
    LanguageInUse(const LanguageInUse&) = delete;
    LanguageInUse& operator=(const LanguageInUse&) = delete;
};

class CamerasWindow : public kvtest::ConsoleTest {
protected:
    ~CamerasWindow() override { Close(); }

    void Begin(const char* admin = "admin = true", const char* channels = kChannels) {
        text = std::string("listen = \"127.0.0.1:0\"\n[[users]]\nname = \"admin\"\npassword = \"secret\"\n") +
               admin + "\n" + channels;
        std::ofstream(file) << text;
        kvrecorder::Options told;
        told.configFile = file;
        const kvrecorder::RecorderConfig config = kvrecorder::MakeConfig(told);
        model->Begin(config);
        keeper =
            std::make_shared<kvrecorder::ConfigKeeper>(told, config, 4096, *model, [](const std::string&) {});
        kvrecorder::ServiceOptions options;
        options.api = kvrecorder::ApiSetup{"1", keeper, tools};
        service = std::make_unique<kvrecorder::RecorderService>(model, options);
        service->Start();
        Open(service->Port());
    }
    std::string FileText() const {
        std::ostringstream out;
        out << std::ifstream(file).rdbuf();
        return out.str();
    }
    std::vector<std::string> MenuEntries() {
        PressKey(*console, Qt::Key_F10);
        Pump();
        auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        const auto entries = menu != nullptr ? kvtest::Entries(*menu) : std::vector<std::string>();
        if (menu != nullptr) {
            menu->close();
        }
        Pump();
        return entries;
    }
    // By the menu's entry, once it is there.
    void OpenWindow() {
        ASSERT_TRUE(PumpUntil([&] {
            const auto entries = MenuEntries();
            return std::find(entries.begin(), entries.end(), "Cameras...") != entries.end();
        }));
        PressKey(*console, Qt::Key_F10);
        Pump();
        auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        ASSERT_NE(menu, nullptr);
        ASSERT_TRUE(kvtest::Choose(*menu, {"Cameras..."}));
        ASSERT_TRUE(PumpUntil(
            [&] { return Window("camerasDialog") != nullptr && Window("camerasDialog")->isVisible(); }));
        window = Window("camerasDialog");
        list = window->findChild<QTreeWidget*>("cameras");
        ASSERT_TRUE(PumpUntil([&] { return list->topLevelItemCount() > 0; }));
    }
    static QDialog* Window(const char* name) {
        for (QWidget* const each : QApplication::topLevelWidgets()) {
            if (each->objectName() == QLatin1String(name) && each->isVisible()) {
                return qobject_cast<QDialog*>(each);
            }
        }
        return nullptr;
    }
    static QDialog* Await(const char* name) {
        EXPECT_TRUE(PumpUntil([&] { return Window(name) != nullptr; })) << name;
        return Window(name);
    }
    // The dialog of the one camera that a search finds; null if it does not.
    QDialog* AddTheFound() {
        Click(*window, "find");
        QDialog* const found = Await("foundDialog");
        auto* const cameras = found->findChild<QTreeWidget*>("found");
        if (!PumpUntil([&] { return cameras->topLevelItemCount() == 1; })) {
            return nullptr;
        }
        Click(*found, "add");
        return Await("cameraDialog");
    }
    static void Click(QWidget& in, const char* name) {
        auto* const button = in.findChild<QPushButton*>(QString(name));
        ASSERT_NE(button, nullptr) << name;
        ASSERT_TRUE(PumpUntil([&] { return button->isEnabled(); })) << name;
        ClickAt(*button, button->rect().center());
        Pump();
    }
    static void Type(QWidget& in, const char* name, const std::string& value) {
        auto* const field = in.findChild<QLineEdit*>(QString(name));
        ASSERT_NE(field, nullptr) << name;
        field->selectAll();
        PressKey(*field, Qt::Key_Delete);
        kvtest::TypeText(*field, value);
    }
    // Once the recorder has answered what was asked before.
    void Key(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        ASSERT_TRUE(PumpUntil([&] { return window->findChild<QPushButton*>("add")->isEnabled(); }));
        PressKey(*list, key, modifiers);
        Pump();
    }
    static std::string Said(QWidget& in) { return in.findChild<QLabel*>("message")->text().toStdString(); }
    bool Lists(const std::vector<std::string>& wanted) {
        std::vector<std::string> names;
        const bool right = PumpUntil([&] {
            names.clear();
            for (int i = 0; i < list->topLevelItemCount(); ++i) {
                const QTreeWidgetItem& item = *list->topLevelItem(i);
                names.push_back((item.text(1) + "/" + item.text(2)).toStdString());
            }
            return names == wanted;
        });
        EXPECT_EQ(names, wanted);
        return right;
    }

    const std::string file = folder.File("recorder.toml");
    std::string text;
    kvrecorder::CameraTools tools;
    std::shared_ptr<kvtest::FakeHub> hub = std::make_shared<kvtest::FakeHub>();
    std::shared_ptr<kvrecorder::RecorderModel> model = std::make_shared<kvrecorder::RecorderModel>(hub);
    std::shared_ptr<kvrecorder::ConfigKeeper> keeper;
    std::unique_ptr<kvrecorder::RecorderService> service;
    QDialog* window = nullptr;
    QTreeWidget* list = nullptr;
};

}  // namespace

TEST_F(CamerasWindow, OnlyWhoMayChangeThemSeesTheEntry) {
    kvtest::FakeRecorder other("Hall", 4);
    Open(other.Port());
    for (int i = 0; i < 3; ++i) {
        console->Parts().OnSecond();
        Pump();
    }
    EXPECT_THAT(MenuEntries(), Not(Contains("Cameras..."))) << "a recorder of another make";
    Close();
    EXPECT_EQ(other.CountHeads("/api/"), 0) << "it is asked for nothing that it cannot know";
    Begin("");
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().cells.GetCount() > 0; }));
    for (int i = 0; i < 30; ++i) {
        EXPECT_THAT(MenuEntries(), Not(Contains("Cameras..."))) << "no administrator";
        PumpUntil([] { return false; }, std::chrono::milliseconds(50));
    }
}

TEST_F(CamerasWindow, CamerasAreAddedChangedMovedAndRemovedByKeys) {
    Begin();
    OpenWindow();
    EXPECT_TRUE(Lists({"Gate/Ready", "Yard/Ready"}));
    Key(Qt::Key_Insert);
    QDialog* entry = Await("cameraDialog");
    EXPECT_TRUE(entry->findChild<QLineEdit*>("address")->hasFocus());
    Type(*entry, "address", "gopher://h/x");
    PressKey(*entry, Qt::Key_Return);
    EXPECT_EQ(Said(*entry), "Please enter a name.");
    Type(*entry, "name", "Porch");
    PressKey(*entry, Qt::Key_Return);
    ASSERT_TRUE(PumpUntil([&] { return Said(*entry).starts_with("The recorder refused: "); }));
    EXPECT_TRUE(entry->findChild<QLineEdit*>("address")->hasFocus()) << "the field that is wrong";
    Type(*entry, "address", "rtsp://192.0.2.7/main");
    Type(*entry, "user", "u");
    Type(*entry, "password", "p");
    entry->findChild<QComboBox*>("transport")->setCurrentIndex(1);
    PressKey(*entry, Qt::Key_Return);
    EXPECT_TRUE(Lists({"Gate/Ready", "Yard/Ready", "Porch/Ready"}));
    EXPECT_THAT(FileText(), HasSubstr("source = { url = \"rtsp://192.0.2.7/main\", user = \"u\", password = "
                                      "\"p\", transport = \"udp\" }"));
    EXPECT_TRUE(list->topLevelItem(2)->isSelected());

    Key(Qt::Key_Up, Qt::ControlModifier);
    EXPECT_TRUE(Lists({"Gate/Ready", "Porch/Ready", "Yard/Ready"}));
    EXPECT_TRUE(list->topLevelItem(1)->isSelected()) << "the chosen camera stays it";
    Key(Qt::Key_F2);
    entry = Await("cameraDialog");
    EXPECT_EQ(entry->findChild<QLineEdit*>("password")->text(), "") << "it is never told";
    Type(*entry, "name", "Side door");
    PressKey(*entry, Qt::Key_Return);
    EXPECT_TRUE(Lists({"Gate/Ready", "Side door/Ready", "Yard/Ready"}));
    EXPECT_EQ(model->Current()->channels.at(1).config.source.network.password.View(), "p");

    Key(Qt::Key_Delete);
    QDialog* question = Await("removeQuestion");
    PressKey(*question, Qt::Key_Escape);
    EXPECT_TRUE(PumpUntil([&] { return Window("removeQuestion") == nullptr; }));
    Key(Qt::Key_Delete);
    question = Await("removeQuestion");
    Click(*question, "remove");
    EXPECT_TRUE(Lists({"Gate/Ready", "/No camera", "Yard/Ready"}))
        << "and not with the question that was closed";
    hub->words = "no answer";
    hub->Tell(0, kvrecorder::MediaEvent::Lost, true);
    EXPECT_TRUE(Lists({"Gate/No picture: no answer", "/No camera", "Yard/Ready"})) << "the list follows";
}

TEST_F(CamerasWindow, OneIsFoundTestedAndAdded) {
    std::atomic<int> tests{0};
    std::atomic<int> ended{0};
    tools.search = [](std::chrono::milliseconds, const kvrecorder::CameraTools::Ended&) {
        return std::vector<kvrecorder::SeenCamera>{
            {"onvif://192.0.2.9", "192.0.2.9", "Maker", "Dome", "", {}}};
    };
    tools.test = [&](const kvrecorder::NetworkCamera& camera, std::chrono::milliseconds,
                     const kvrecorder::CameraTools::Ended& stop) {
        kvrecorder::TestedCamera found;
        if (++tests == 1) {
            while (!stop()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            ++ended;
            return found;
        }
        if (camera.password.View() != "right") {
            found.faults = {"the password was refused"};
            return found;
        }
        found.codec = "H.264";
        found.width = 1280;
        found.height = 720;
        found.firstPicture = std::chrono::milliseconds(210);
        QImage image(640, 360, QImage::Format_RGB32);
        image.fill(qRgb(200, 40, 40));
        QByteArray jpeg;
        QBuffer buffer(&jpeg);
        image.save(&buffer, "JPEG");
        found.picture.assign(jpeg.begin(), jpeg.end());
        return found;
    };
    Begin();
    OpenWindow();
    QDialog* const entry = AddTheFound();
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->findChild<QLineEdit*>("address")->text(), "onvif://192.0.2.9");
    EXPECT_EQ(entry->findChild<QLineEdit*>("name")->text(), "Maker Dome");

    Click(*entry, "test");
    ASSERT_TRUE(PumpUntil([&] { return tests == 1; }));
    Click(*entry, "test");
    EXPECT_EQ(Said(*entry), "The test was stopped.");
    EXPECT_TRUE(PumpUntil([&] { return ended == 1; })) << "at the recorder, too";
    Click(*entry, "test");
    EXPECT_TRUE(PumpUntil([&] { return Said(*entry) == "No picture has come.\nthe password was refused"; }))
        << Said(*entry);
    EXPECT_FALSE(entry->findChild<QLabel*>("picture")->isVisible());
    Type(*entry, "password", "right");
    Click(*entry, "test");
    EXPECT_TRUE(PumpUntil([&] { return entry->findChild<QLabel*>("picture")->isVisible(); }));
    EXPECT_EQ(Said(*entry), "The camera works: H.264, 1280 x 720, first picture after 210 ms.");
    auto* const picture = entry->findChild<QLabel*>("picture");
    const QImage shown = picture->grab().toImage();
    const QRgb middle = shown.pixel(shown.width() / 2, shown.height() / 2);
    EXPECT_GT(qRed(middle), 150);
    EXPECT_LT(qGreen(middle), 90);
    PressKey(*entry, Qt::Key_Return);
    EXPECT_TRUE(Lists({"Gate/Ready", "Yard/Ready", "Maker Dome/Ready"}));
}

TEST_F(CamerasWindow, ACertificateIsAcceptedWithATick) {
    std::string first = "sha256:";
    for (int i = 0; i < 32; ++i) {
        first += "a7";
    }
    std::string shown = first;
    tools.test = [&](const kvrecorder::NetworkCamera& camera, std::chrono::milliseconds,
                     const kvrecorder::CameraTools::Ended&) {
        kvrecorder::TestedCamera found;
        if (camera.certificate == shown) {
            found.codec = "H.264";
            found.width = 640;
            found.height = 360;
            return found;
        }
        found.faults.emplace_back(camera.certificate.empty() ? kvrecorder::FaultCode::CertificateNotTrusted
                                                             : kvrecorder::FaultCode::CertificateChanged,
                                  std::vector<kvrecorder::FaultValue>{{"certificate", shown}});
        return found;
    };
    Begin();
    OpenWindow();
    Click(*window, "add");
    QDialog* entry = Await("cameraDialog");
    auto* tick = entry->findChild<QCheckBox*>("certificate");
    EXPECT_FALSE(tick->isVisible()) << "most cameras have none";
    Type(*entry, "name", "Porch");
    Type(*entry, "address", "rtsps://192.0.2.7/main");
    Click(*entry, "test");
    ASSERT_TRUE(PumpUntil([&] { return tick->isVisible(); }));
    EXPECT_EQ(
        Said(*entry),
        "No picture has come.\nThe camera's certificate is signed by nobody whom the recorder "
        "trusts.\nCompare the fingerprint with the camera's own, and accept it only if they are the same.");
    EXPECT_TRUE(entry->findChild<QLabel*>("fingerprint")->text().startsWith("A7:A7:A7:"));
    EXPECT_FALSE(tick->isChecked());
    ClickAt(*tick, QPoint(8, tick->height() / 2));
    ASSERT_TRUE(tick->isChecked());
    Click(*entry, "test");
    EXPECT_TRUE(PumpUntil([&] { return Said(*entry).starts_with("The camera works: "); })) << Said(*entry);
    PressKey(*entry, Qt::Key_Return);
    EXPECT_TRUE(Lists({"Gate/Ready", "Yard/Ready", "Porch/Ready"}));
    EXPECT_THAT(FileText(), HasSubstr("certificate = \"" + first + "\""));

    // The camera shows another one.
    shown[10] = 'b';
    Key(Qt::Key_F2);
    entry = Await("cameraDialog");
    tick = entry->findChild<QCheckBox*>("certificate");
    EXPECT_TRUE(tick->isVisible() && tick->isChecked()) << "what is accepted is on show";
    Click(*entry, "test");
    EXPECT_TRUE(PumpUntil([&] { return Said(*entry).find("but another one") != std::string::npos; }));
    EXPECT_FALSE(tick->isChecked()) << "nobody has accepted this";
    ClickAt(*tick, QPoint(8, tick->height() / 2));
    PressKey(*entry, Qt::Key_Return);
    EXPECT_TRUE(PumpUntil([&] { return FileText().find(shown) != std::string::npos; }));
    EXPECT_EQ(FileText().find(first), std::string::npos);
}

// By a real search, and a camera that really answers: it is listed, steered and kept.
TEST_F(CamerasWindow, OneThatAnswersOnTheNetworkIsAdded) {
    kvtest::OnvifDevice device;
    const kvtest::OnvifBeacon beacon(
        {{"urn:uuid:9b1c0001", device.Address(), "onvif://www.onvif.org/name/Yard"}});
    kvrecorder::SearchSetup search;
    search.from = {"127.0.0.1"};
    search.at = "127.0.0.1";
    search.port = beacon.Port();
    tools = kvrecorder::MakeCameraTools(search);
    model = std::make_shared<kvrecorder::RecorderModel>(hub, kvrecorder::CreateOnvifControlMaker());
    Begin();
    OpenWindow();
    QDialog* const entry = AddTheFound();
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->findChild<QLineEdit*>("address")->text().toStdString(), device.Url());
    EXPECT_EQ(entry->findChild<QLineEdit*>("name")->text(), "Yard");
    Type(*entry, "user", "guard");
    Type(*entry, "password", "sesame");
    PressKey(*entry, Qt::Key_Return);
    EXPECT_TRUE(Lists({"Gate/Ready", "Yard/Ready", "Yard/Ready"}));
    EXPECT_THAT(FileText(), HasSubstr("source = { url = \"" + device.Url() + "\", user = \"guard\""));
    EXPECT_TRUE(PumpUntil([&] { return model->Current()->channels.at(2).control->Abilities().has_value(); }))
        << "with the login that was typed";
}

// What the recorder has a code for is told in the user's language, what it has none for in its own words.
TEST_F(CamerasWindow, FaultsAreToldInTheUsersLanguage) {
    tools = kvrecorder::MakeCameraTools({});  // real tests
    Begin();
    OpenWindow();
    const LanguageInUse german("KVMONGER.DLL");
    hub->trouble = kvrecorder::Fault(kvrecorder::FaultCode::CodecUnknown, {{"codec", "vp8"}});
    hub->Tell(0, kvrecorder::MediaEvent::Lost, true);
    EXPECT_TRUE(Lists(
        {"Gate/Kein Bild: was die Kamera sendet (vp8), kann nicht weitergegeben werden", "Yard/Bereit"}));
    hub->trouble.values.emplace_back("stream", "sub");
    hub->trouble.words = "the sub stream: ...";  // another word, so that it is told again
    hub->Tell(0, kvrecorder::MediaEvent::Lost, true);
    EXPECT_TRUE(
        Lists({"Gate/Kein Bild: zweiter Datenstrom: was die Kamera sendet (vp8), kann nicht "
               "weitergegeben werden",
               "Yard/Bereit"}));
    hub->trouble.code = "of_a_later_recorder";
    hub->trouble.words = "the lens is\x1B[31m dirty";
    hub->Tell(0, kvrecorder::MediaEvent::Lost, true);
    EXPECT_TRUE(PumpUntil([&] {
        const std::string told = list->topLevelItem(0)->text(2).toStdString();
        return told.starts_with("Kein Bild: the lens is") && told.ends_with("dirty") &&
               told.find('\x1B') == std::string::npos;
    })) << list->topLevelItem(0)->text(2).toStdString();
    hub->trouble = kvrecorder::Fault("there is nothing that a text could be made of");
    hub->trouble.code = "codec_unknown";  // without its value
    hub->Tell(0, kvrecorder::MediaEvent::Lost, true);
    EXPECT_TRUE(Lists({"Gate/Kein Bild: there is nothing that a text could be made of", "Yard/Bereit"}));

    Click(*window, "add");
    QDialog* const entry = Await("cameraDialog");
    Type(*entry, "name", "Porch");
    Type(*entry, "address", "gopher://h/x");
    PressKey(*entry, Qt::Key_Return);
    EXPECT_TRUE(PumpUntil([&] {
        return Said(*entry) ==
               "Der Rekorder lehnt ab: die Adresse einer Kamera beginnt mit rtsp://, rtsps://, http://, "
               "https://, onvif://, onvifs://, usb:/dev/";
    })) << Said(*entry);
    Type(*entry, "address", "rtsp://127.0.0.1:1/");
    Click(*entry, "test");
    EXPECT_TRUE(PumpUntil([&] {
        return Said(*entry) == "Es kam kein Bild.\nan der Adresse läuft kein Dienst";
    })) << Said(*entry);
    entry->reject();
}

TEST_F(CamerasWindow, EachFailureIsToldWithWhatToDoNext) {
    Begin("admin = true", "[[channels]]\nconfigured = false\n# end\n");
    OpenWindow();
    EXPECT_TRUE(PumpUntil([&] {
        for (QLabel* const label : list->findChildren<QLabel*>()) {
            if (label->isVisible() && label->text().contains("\"Add...\"")) {
                return true;
            }
        }
        return false;
    })) << "an empty list says how to begin";
    for (QWidget* const each : window->findChildren<QWidget*>()) {
        if (each->focusPolicy() != Qt::NoFocus && each->isVisible() &&
            qobject_cast<QPushButton*>(each) == nullptr && each->parentWidget() == window) {
            EXPECT_FALSE(each->accessibleName().isEmpty()) << each->objectName().toStdString();
        }
    }
    const auto add = [&] {
        Click(*window, "add");
        QDialog* const entry = Await("cameraDialog");
        Type(*entry, "name", "Porch");
        Type(*entry, "address", "rtsp://192.0.2.7/");
        PressKey(*entry, Qt::Key_Return);
        return entry;
    };
    ::chmod(file.c_str(), 0444);
    QDialog* entry = add();
    EXPECT_TRUE(PumpUntil([&] {
        return Said(*entry).starts_with("Nothing was changed, as the recorder cannot store it (");
    })) << Said(*entry);
    entry->reject();
    ::chmod(file.c_str(), 0644);
    EXPECT_EQ(FileText(), text);

    // The user is an administrator no more.
    std::string less = text;
    less.replace(less.find("admin = true"), 12, "");
    std::ofstream(file) << less;
    keeper->Take();
    EXPECT_TRUE(PumpUntil([&] { return Said(*window).starts_with("This user may not change"); }))
        << Said(*window);
    std::ofstream(file) << text;
    keeper->Take();
    EXPECT_TRUE(PumpUntil([&] { return Said(*window).empty(); })) << "and again";

    service.reset();
    EXPECT_TRUE(PumpUntil([&] { return Said(*window).starts_with("The recorder does not answer."); }))
        << Said(*window);
    EXPECT_FALSE(window->findChild<QPushButton*>("add")->isEnabled());
    EXPECT_EQ(list->topLevelItemCount(), 1) << "what was known stays on show";
    Command(kvmon::kCtlLogout);
    EXPECT_TRUE(PumpUntil([&] { return Window("camerasDialog") == nullptr; })) << "it ends with the session";
}
