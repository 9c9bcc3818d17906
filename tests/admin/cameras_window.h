// "Cameras..." in front of a real recorder whose searches and tests are the test's.
#pragma once

#include <gmock/gmock.h>

#include <QtWidgets/QApplication>
#include <QtWidgets/QDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMenu>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTreeWidget>
#include <fstream>
#include <sstream>

#include "console_fixture.h"
#include "fake_hub.h"
#include "menu_entries.h"
#include "service/camera_tests.h"
#include "service/config_keeper.h"
#include "service/recorder_service.h"
#include "support/qt_user_input.h"

namespace kvtest {

inline const char* const kChannels = R"(
[[channels]]
name = "Gate"
source = { url = "rtsp://192.0.2.1/a", user = "guard", password = "hidden" }
[[channels]]
name = "Yard"
# end
)";

class CamerasWindow : public ConsoleTest {
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
        const auto entries = menu != nullptr ? Entries(*menu) : std::vector<std::string>();
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
        ASSERT_TRUE(Choose(*menu, {"Cameras..."}));
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
        TypeText(*field, value);
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
    std::shared_ptr<FakeHub> hub = std::make_shared<FakeHub>();
    std::shared_ptr<kvrecorder::RecorderModel> model = std::make_shared<kvrecorder::RecorderModel>(hub);
    std::shared_ptr<kvrecorder::ConfigKeeper> keeper;
    std::unique_ptr<kvrecorder::RecorderService> service;
    QDialog* window = nullptr;
    QTreeWidget* list = nullptr;
};

}  // namespace kvtest
