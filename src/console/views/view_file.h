// Named views as text: the form in which they are stored, exported and imported.
#pragma once

#include <QtCore/QByteArray>
#include <optional>
#include <vector>

#include "console/views/named_view.h"

namespace kvmon {

inline constexpr int kViewFileVersion = 1;
inline constexpr qint64 kMaxViewFile = 8 << 20;  // bytes

enum class ViewFileFault { None, NoViews, Newer, TooMany };

struct ParsedViews {
    std::vector<NamedView> views;
    ViewFileFault fault = ViewFileFault::None;  // then there are no views
};

// JSON; docs/console.md describes it.
QByteArray WriteViews(const std::vector<NamedView>& views);
// Takes all of a text or nothing of it: each number and each length in it is checked.
ParsedViews ReadViews(const QByteArray& text);

// The name made fit for a view: one line without blanks around it, of bounded length. Empty for none.
std::string CleanViewName(const std::string& name);

}  // namespace kvmon
