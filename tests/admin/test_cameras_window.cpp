// The list of "Cameras..." by clicks and keys.
#include <sys/stat.h>

#include <QtWidgets/QComboBox>

#include "cameras_window.h"
#include "persist/language_module.h"
#include "persist/string_table.h"
#include "support/fake_recorder.h"

namespace kvtest {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

namespace {

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

}  // namespace

TEST_F(CamerasWindow, OnlyWhoMayChangeThemSeesTheEntry) {
    FakeRecorder other("Hall", 4);
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

}  // namespace kvtest
