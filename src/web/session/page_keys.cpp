#include "web/session/page_keys.h"

#include <QtCore/QList>
#include <algorithm>
#include <charconv>
#include <iterator>

namespace kvmon {

namespace {

struct Row {
    std::string_view name;
    int key;
    const char* text;
};

constexpr int kFunctionKeys = 24;

// "F1" and so on; 0 for other names.
int FunctionKey(std::string_view name) {
    int number = 0;
    const char* const end = name.data() + name.size();
    if (name.size() < 2 || name[0] != 'F' || name[1] == '0' ||
        std::from_chars(name.data() + 1, end, number).ptr != end || number < 1 || number > kFunctionKeys) {
        return 0;
    }
    return Qt::Key_F1 + number - 1;
}

constexpr Row kRows[] = {
    {"Backspace", Qt::Key_Backspace, "\b"},
    {"Tab", Qt::Key_Tab, "\t"},
    {"Enter", Qt::Key_Return, "\r"},
    {"Escape", Qt::Key_Escape, "\x1B"},
    {"Delete", Qt::Key_Delete, "\x7F"},
    {"Insert", Qt::Key_Insert, ""},
    {"Home", Qt::Key_Home, ""},
    {"End", Qt::Key_End, ""},
    {"PageUp", Qt::Key_PageUp, ""},
    {"PageDown", Qt::Key_PageDown, ""},
    {"ArrowLeft", Qt::Key_Left, ""},
    {"ArrowUp", Qt::Key_Up, ""},
    {"ArrowRight", Qt::Key_Right, ""},
    {"ArrowDown", Qt::Key_Down, ""},
    {"Shift", Qt::Key_Shift, ""},
    {"Control", Qt::Key_Control, ""},
    {"Alt", Qt::Key_Alt, ""},
    {"Meta", Qt::Key_Meta, ""},
    {"ContextMenu", Qt::Key_Menu, ""},
};

}  // namespace

PageKey KeyOfName(std::string_view name) {
    const auto* const row =
        std::find_if(std::begin(kRows), std::end(kRows), [name](const Row& r) { return r.name == name; });
    if (row != std::end(kRows)) {
        return {row->key, QString::fromLatin1(row->text)};
    }
    if (const int key = FunctionKey(name)) {
        return {key, {}};
    }
    const QString text = QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
    const auto characters = text.toUcs4();
    if (characters.size() != 1 || !QChar::isPrint(characters[0])) {
        return {};
    }
    return {static_cast<int>(QChar::toUpper(characters[0])), text};
}

std::string NameOfKey(int key) {
    const std::string control = (key & static_cast<int>(Qt::ControlModifier)) != 0 ? "Control+" : "";
    const int plain = key & ~static_cast<int>(Qt::KeyboardModifierMask);
    const auto* const row =
        std::find_if(std::begin(kRows), std::end(kRows), [plain](const Row& r) { return r.key == plain; });
    if (row != std::end(kRows)) {
        return control + std::string(row->name);
    }
    if (plain >= Qt::Key_F1 && plain < Qt::Key_F1 + kFunctionKeys) {
        return control + "F" + std::to_string(plain - Qt::Key_F1 + 1);
    }
    if (plain > Qt::Key_Space && plain < Qt::Key_AsciiTilde) {
        return control + QString(QChar(plain)).toLower().toStdString();
    }
    return {};
}

}  // namespace kvmon
