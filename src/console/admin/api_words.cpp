#include "console/admin/api_words.h"

#include "console/admin/admin_texts.h"
#include "console/settings/fill_pattern.h"
#include "persist/string_table.h"
#include "platform/outside_text.h"

namespace kvmon {

std::string FailureWords(const ApiAnswer& answer) {
    if (answer.IsGood()) {
        return {};
    }
    const std::string told = OutsideLine(answer.json["error"].toString().toStdString());
    switch (answer.status) {
        case 0:
            return LoadString(kStrNoAnswer);
        case 401:
        case 403:
            return LoadString(kStrNotAllowed);
        case 507:
            return FillPattern(LoadString(kStrNotWritten), {told});
        default:
            return FillPattern(LoadString(kStrRefused),
                               {told.empty() ? std::to_string(answer.status) : told});
    }
}

}  // namespace kvmon
