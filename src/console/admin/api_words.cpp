#include "console/admin/api_words.h"

#include "console/admin/admin_texts.h"
#include "console/admin/told_words.h"
#include "console/settings/fill_pattern.h"
#include "persist/string_table.h"
#include "platform/outside_text.h"

namespace kvmon {

std::string FailureWords(const ApiAnswer& answer) {
    if (answer.IsGood()) {
        return {};
    }
    const QJsonObject values = answer.json["values"].toObject();
    const std::string told =
        ToldWords(answer.json["error"].toString(), answer.json["code"].toString(), values);
    switch (answer.status) {
        case 0:
            return LoadString(kStrNoAnswer);
        case 401:
        case 403:
            return LoadString(kStrNotAllowed);
        case 507:
            return FillPattern(
                LoadString(kStrNotWritten),
                {values["reason"].isString() ? OutsideLine(values["reason"].toString().toStdString())
                                             : told});
        default:
            return FillPattern(LoadString(kStrRefused),
                               {told.empty() ? std::to_string(answer.status) : told});
    }
}

}  // namespace kvmon
