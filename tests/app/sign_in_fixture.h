// A start of the desktop program with the card to sign in, and its end.
#pragma once

#include <gmock/gmock.h>

#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "app/app_options.h"
#include "app/desktop_window.h"
#include "channel/cell/video_wnd.h"
#include "persist/orvo_registry.h"
#include "persist/string_table.h"
#include "persist/utilities.h"
#include "support/fake_clock.h"
#include "support/fake_recorder.h"
#include "support/qt_pump.h"
#include "support/qt_user_input.h"
#include "support/temp_folder.h"

namespace kvtest {

class SignInTest : public testing::Test {
protected:
    SignInTest() {
        kvmon::SetDataFolder(folder.Path());
        kvmon::Registry().InitRegistry(false, {});
    }
    ~SignInTest() override { kvmon::Registry().Close(); }

    // A start of the program, and its end; between them what `use` does.
    template <typename Use>
    void Run(std::vector<std::string> args, Use use) {
        std::istringstream none;
        const kvmon::ParsedCommandLine parsed = kvmon::ParseCommandLine(args, none);
        ASSERT_TRUE(parsed.options) << parsed.text;
        {
            kvmon::DesktopWindow desktop(*parsed.options, clock, keyRing);
            window = &desktop;
            desktop.Activate();
            desktop.show();
            desktop.activateWindow();
            use();
        }
        window = nullptr;
        EXPECT_TRUE(kvmon::Registry().Close());
        kvmon::Registry().InitRegistry(false, {});
    }
    template <typename Widget = QWidget>
    Widget* Find(const char* name) {
        for (Widget* const widget : window->findChildren<Widget*>(QString(name))) {
            if (widget->isVisible()) {
                return widget;
            }
        }
        return nullptr;
    }
    bool HasCard() {
        return PumpUntil([&] { return Find("signIn") != nullptr && Find<QLineEdit>("password") != nullptr; });
    }
    std::string Field(const char* name) { return Find<QLineEdit>(name)->text().toStdString(); }
    // What the keyboard writes to.
    std::string Focus() {
        const QWidget* const widget = window->focusWidget();
        return widget != nullptr ? widget->objectName().toStdString() : std::string();
    }
    void Key(int key) { PressKey(*window->focusWidget(), key); }
    // Replaces what the field holds.
    void Type(const std::string& text) {
        PressKey(*window->focusWidget(), Qt::Key_A, Qt::ControlModifier);
        Add(text);
    }
    void Add(const std::string& text) { TypeText(*window->focusWidget(), text); }
    static void Click(QWidget* widget) { ClickAt(*widget, QPointF(8, widget->height() / 2.0)); }
    void ClickLogout() {
        QWidget* const button = window->findChild<QWidget*>(QStringLiteral("Logout"));
        ASSERT_NE(button, nullptr);
        Click(button);
    }
    bool HasWall() {
        return PumpUntil([&] {
            const auto widgets = window->findChildren<QWidget*>();
            const bool bCells = std::any_of(widgets.begin(), widgets.end(), [](QWidget* widget) {
                const auto* const cell = dynamic_cast<kvmon::CVideoWnd*>(widget);
                return cell != nullptr && cell->isVisible() && cell->GetCamera() != nullptr;
            });
            return Find("signIn") == nullptr && bCells;
        });
    }
    bool Says(const std::string& words) {
        return PumpUntil([&] {
            const auto* const label = Find<QLabel>("message");
            return label != nullptr && label->text().toStdString() == words;
        });
    }
    // All of it by the keyboard, from where the card begins: at its empty address.
    void SignInByKeys(const std::string& password) {
        ASSERT_TRUE(HasCard());
        ASSERT_EQ(Focus(), "address");
        Type("127.0.0.1");
        Key(Qt::Key_Tab);
        ASSERT_EQ(Focus(), "search");
        Key(Qt::Key_Tab);
        Type(std::to_string(recorder.Port()));
        Key(Qt::Key_Tab);
        ASSERT_EQ(Focus(), "user");
        Type("guard");
        Key(Qt::Key_Tab);
        ASSERT_EQ(Focus(), "password");
        Type(password);
        Key(Qt::Key_Return);
    }
    std::string AllThatIsStored() {
        std::string all;
        for (const char* const name : {"settings.db", "settings.db-wal"}) {
            std::ifstream file(folder.File(name), std::ios::binary);
            all.append(std::istreambuf_iterator<char>(file), {});
        }
        return all;
    }

    FakeClock clock{kvmon::Milliseconds(1)};
    TempFolder folder;
    FakeRecorder recorder{"Hall", 4};
    kvmon::KeyRing* keyRing = nullptr;
    kvmon::DesktopWindow* window = nullptr;
};

}  // namespace kvtest
