// What a recorder calls its things, with signs in it that are not seen and turn what is beside them.
#include <gmock/gmock.h>

#include <QtCore/QBuffer>
#include <QtCore/QMetaProperty>
#include <QtGui/QImage>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMenu>
#include <QtWidgets/QTableWidget>
#include <QtWidgets/QTreeWidget>
#include <fstream>
#include <iterator>

#include "channel/base/cam_commands.h"
#include "console/events/event_window.h"
#include "console/site/emap_dlg.h"
#include "console/site/site_windows.h"
#include "console_fixture.h"
#include "menu_entries.h"
#include "persist/log_file.h"
#include "support/fake_recorder.h"
#include "support/qt_user_input.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::HttpReply;
using kvtest::Pump;
using kvtest::PumpUntil;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

// Right to left, an isolate, the escape of a terminal, the same in one character, a line separator.
const std::string kHidden = "\xE2\x80\xAE\xE2\x81\xA6\x1B\xC2\x9B\xE2\x80\xA8";
const std::string kShown = "     ";

std::string Hex(const std::string& text) {
    std::string digits;
    for (const unsigned char byte : text) {
        digits += FormatText("%02x", byte);
    }
    return digits;
}

bool IsHidden(QChar c) {
    const char16_t u = c.unicode();
    return (u < 0x20 && u != u'\n' && u != u'\t') || (u >= 0x7F && u < 0xA0) ||
           (u >= 0x2028 && u <= 0x202E) || (u >= 0x2066 && u <= 0x2069);
}

class OutsideTexts : public kvtest::ConsoleTest {
protected:
    // Where in the program a hidden sign stands: in each text that any of its widgets and entries has.
    static QStringList Findings() {
        QStringList found;
        const auto look = [&found](const QObject& object, const QString& what, const QString& text) {
            if (std::any_of(text.begin(), text.end(), IsHidden)) {
                found << object.objectName() + "." + what + ": " + text;
            }
        };
        for (const QWidget* const widget : QApplication::allWidgets()) {
            QObjectList objects = widget->findChildren<QObject*>();
            objects << const_cast<QWidget*>(widget);
            for (const QObject* const object : objects) {
                for (int i = 0; i < object->metaObject()->propertyCount(); ++i) {
                    const QMetaProperty property = object->metaObject()->property(i);
                    if (property.typeId() == QMetaType::QString) {
                        look(*object, QString::fromLatin1(property.name()), property.read(object).toString());
                    }
                }
                if (const auto* const model = qobject_cast<const QAbstractItemModel*>(object)) {
                    for (int row = 0; row < model->rowCount(); ++row) {
                        for (int column = 0; column < model->columnCount(); ++column) {
                            look(*object, "row", model->index(row, column).data().toString());
                        }
                    }
                }
            }
        }
        return found;
    }
    std::string ReadTrace() const {
        std::ifstream file(folder.File("trace"), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    QMenu* OpenMenu() {
        kvtest::SendKey(*console, QEvent::KeyPress, Qt::Key_F10, Qt::ShiftModifier);
        return qobject_cast<QMenu*>(QApplication::activePopupWidget());
    }
};

std::string MapPicture() {
    QImage picture(30, 20, QImage::Format_RGB32);
    picture.fill(Qt::gray);
    QBuffer jpeg;
    EXPECT_TRUE(picture.save(&jpeg, "JPG"));
    return jpeg.data().toStdString();
}

}  // namespace

TEST_F(OutsideTexts, NoneOfARecordersNamesHoldsASignThatIsNotSeen) {
    const std::string preset = "Pre" + kHidden + "set";
    FakeRecorder recorder("Ha" + kHidden + "ll", {{"Ga" + kHidden + "te"}, {"Door"}});
    recorder.SetDocument("command=16", HttpReply(200, "OK", "19"));
    recorder.SetDocument("Recording.MediaProperty", HttpReply(200, "OK", "\n<audio_enabled>\n"));
    recorder.SetDocument(
        "command=15",
        HttpReply(200, "OK", FormatText("001%02d%s", static_cast<int>(preset.size()), Hex(preset).c_str())));
    recorder.SetDocument("command=20", HttpReply(200, "OK", "01011"));
    recorder.SetDocument("emap_show.cgi", HttpReply(200, "OK", "<b>Ma" + kHidden + "p</b>"));
    recorder.SetDocument("emap.jpg", HttpReply(200, "OK", MapPicture()));
    recorder.SetDocument("get_log_info.cgi",
                         "HTTP/1.0 200 OK\n\n<num>1</num>\n<info>\n<level>3</level>\n<date_time>2024-05-06 "
                         "07:08:09</date_time>\n<msg>dis" +
                             kHidden + "k</msg>\n</info>\n");
    LogFile().Open(folder.File("trace"));
    Open(recorder.Port());
    const auto camera = Cell(0).GetCamera();
    ASSERT_TRUE(PumpUntil([&] { return !camera->GetCameraInfo().presetNames.empty(); }));
    EXPECT_EQ(camera->GetCameraName(), "Ga" + kShown + "te");
    EXPECT_THAT(camera->GetCaptionName(), HasSubstr("Ga" + kShown + "te"));

    Command(kCmdEMap);
    Command(kCmdEvents);
    Command(kCmdDiskStatus);
    Command(kCmdPresetDialog);
    ASSERT_TRUE(PumpUntil([&] {
        const CEMapDlg* const map = console->Parts().windows.EMap();
        return map != nullptr && map->IsShown();
    }));
    EXPECT_EQ(console->Parts().windows.EMap()->windowTitle().toStdString(), "Ma" + kShown + "p");
    auto* const rows = console->Parts().events.Window()->findChild<QTreeWidget*>("eventRows");
    ASSERT_TRUE(PumpUntil([&] { return rows->topLevelItemCount() == 1; }));
    EXPECT_EQ(rows->topLevelItem(0)->text(3).toStdString(), "dis" + kShown + "k");
    const auto* const presets = console->window()->findChild<QTableWidget*>();
    ASSERT_NE(presets, nullptr);
    ASSERT_TRUE(
        PumpUntil([&] { return presets->item(0, 1)->text().toStdString() == "Pre" + kShown + "set"; }));
    EXPECT_THAT(console->findChild<QLabel*>("statusLine")->text().toStdString(),
                HasSubstr("Ha" + kShown + "ll"));
    QMenu* const menu = OpenMenu();
    ASSERT_NE(menu, nullptr);
    EXPECT_THAT(Findings(), IsEmpty()) << Findings().join("\n").toStdString();
    menu->close();
    Pump();

    // Not in the trace either, which is read in terminals.
    const QString trace = QString::fromStdString(ReadTrace());
    EXPECT_THAT(trace.toStdString(), HasSubstr("m_strServerName=Ha" + kShown + "ll\n"));
    EXPECT_TRUE(std::none_of(trace.begin(), trace.end(), IsHidden));
    LogFile().Open(folder.File("none/at/all"));
}
