// A console on two displays.
#pragma once

#include <gmock/gmock.h>

#include <QtGui/QScreen>
#include <QtWidgets/QApplication>

#include <vector>

#include "console/wall/fs_panel.h"
#include "console_fixture.h"
#include "support/qt_user_input.h"

namespace kvtest {

// Set before the application is made, by one source of each program, to the displays that it is to have.
extern const bool kHasScreens;

inline QScreen& ScreenAt(int n) {
    return *QGuiApplication::screens().at(n);
}

class Screens : public ConsoleTest {
protected:
    Screens() { EXPECT_TRUE(kHasScreens); }

    static std::vector<kvmon::CFSPanel*> Panels() {
        std::vector<kvmon::CFSPanel*> panels;
        for (QWidget* const widget : QApplication::topLevelWidgets()) {
            auto* const panel = dynamic_cast<kvmon::CFSPanel*>(widget);
            if (panel != nullptr && panel->isVisible()) {
                panels.push_back(panel);
            }
        }
        return panels;
    }
    // How many windows show on this host.
    int ShownOn(const QWidget* host) {
        int count = 0;
        for (int n = 0; n < console->Parts().cells.GetCount(); ++n) {
            count += Cell(n).parentWidget() == host && !Cell(n).isHidden() ? 1 : 0;
        }
        return count;
    }
    void ExpectAllHome() {
        EXPECT_THAT(Panels(), testing::IsEmpty());
        for (int n = 0; n < console->Parts().cells.GetCount(); ++n) {
            ASSERT_EQ(Cell(n).parentWidget(), console.get()) << n;
        }
    }
    static void Key(QWidget& window, int key) {
        SendKey(window, QEvent::KeyPress, key);
        Pump();
    }
    static void DoubleClick(QWidget& window, const QPoint& at) {
        DoubleClickAt(window, at);
        Pump();
    }
};

}  // namespace kvtest
