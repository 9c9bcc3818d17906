#include "server/http/control_rights.h"

namespace kvmon {

bool GetControlAuth(QueryContext&, CNvrStatus& status, std::uint32_t*) {
    for (CVideoSetting& setting : status.m_VideoSettingList) {
        setting.SetStatus(kStatusControlRight, 1);
        setting.SetStatus(kStatusAdminRight, 1);
    }
    return true;
}

bool GetAdministrators(QueryContext& query, CNvrStatus& status, std::uint32_t* pdwErrorCode) {
    return GetControlAuth(query, status, pdwErrorCode);
}

}  // namespace kvmon
