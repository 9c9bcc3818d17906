// A page's names of keys.
#pragma once

#include <QtCore/QString>
#include <string>
#include <string_view>

namespace kvmon {

struct PageKey {
    int key = 0;   // as Qt numbers it; 0 for a name that is no key
    QString text;  // what it types
};

// By the name that the DOM gives the key: "Enter", "ArrowLeft", or the character itself.
PageKey KeyOfName(std::string_view name);
// The other way, with "Control+" in front where it belongs to the key: "F11", "Control+1", "q". Empty for a
// key without a name.
std::string NameOfKey(int key);

}  // namespace kvmon
