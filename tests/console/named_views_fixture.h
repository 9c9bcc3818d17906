// A console with named views, and their dialog.
#pragma once

#include <gmock/gmock.h>

#include <QtCore/QFile>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTreeWidget>
#include <string>
#include <vector>

#include "channel/base/channel_messages.h"
#include "console/views/view_switch.h"
#include "console/views/views_dialog.h"
#include "console/views/views_menu.h"
#include "console_fixture.h"
#include "open_dialog.h"
#include "skin/input_messages.h"
#include "support/fake_recorder.h"
#include "support/qt_user_input.h"

namespace kvtest {

class NamedViews : public ConsoleTest {
protected:
    kvmon::ViewSwitch& Views() { return console->Parts().views; }
    int Style() { return console->Parts().view.GetStyle(); }
    // The ticks come when the test says so.
    void Second() { console->Parts().OnSecond(); }
    std::string Status() { return console->Parts().status.text().toStdString(); }
    void Swap(int a, int b) {
        console->SendMessage(kvmon::kMsgVideoWndMove, static_cast<kvmon::WParam>(a),
                             kvmon::PackPoint(MiddleOf(b)));
        Pump();
    }
    QPoint MiddleOf(int n) { return Cell(n).mapToGlobal(Cell(n).rect().center()); }
    kvmon::ViewsDialog* OpenDialog() {
        console->Press(kvmon::kCmdViews);
        Pump();
        auto* const dialog = FindOpen<kvmon::ViewsDialog>();
        EXPECT_NE(dialog, nullptr);
        return dialog;
    }
    static void Click(QWidget& dialog, const char* button) {
        dialog.findChild<QPushButton*>(QString(button))->click();
        Pump();
    }
    static void TypeName(QWidget& dialog, const std::string& name) {
        QLineEdit* editor = nullptr;  // one that was closed may still be there
        for (QLineEdit* const each :
             dialog.findChild<QTreeWidget*>("views")->viewport()->findChildren<QLineEdit*>()) {
            editor = each->isVisible() ? each : editor;
        }
        ASSERT_NE(editor, nullptr);
        editor->clear();
        TypeText(*editor, name);
        PressKey(*editor, Qt::Key_Return);
        Pump();
    }
    static std::vector<std::string> Names(QWidget& dialog) {
        std::vector<std::string> names;
        auto* const list = dialog.findChild<QTreeWidget*>("views");
        for (int i = 0; i < list->topLevelItemCount(); ++i) {
            names.push_back(list->topLevelItem(i)->text(0).toStdString());
        }
        return names;
    }
    // The names of the cameras of one order.
    static std::vector<std::string> CellsOf(const kvmon::NamedView& view, const std::string& style) {
        std::vector<std::string> names;
        for (const kvmon::ViewPages& pages : view.pages) {
            for (const int cell : pages.style == style ? pages.cells : std::vector<int>()) {
                names.push_back(cell >= 0 ? view.cameras[static_cast<std::size_t>(cell)].name : "-");
            }
        }
        return names;
    }
    std::string MessageAfterImport(QWidget& dialog, const QByteArray& text) {
        const QString path = QString::fromStdString(folder.File("views.kvviews"));
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
        file.close();
        return ChooseFile(dialog, "import", path);
    }
    static std::string ChooseFile(QWidget& dialog, const char* button, const QString& path) {
        Click(dialog, button);
        auto* const choice = dialog.findChild<QFileDialog*>();
        choice->selectFile(path);
        emit choice->fileSelected(path);
        choice->close();
        EXPECT_TRUE(PumpUntil([&] { return dialog.findChild<QPushButton*>("import")->isEnabled(); }));
        return dialog.findChild<QLabel*>("message")->text().toStdString();
    }
};

}  // namespace kvtest
