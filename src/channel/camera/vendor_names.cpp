#include <iterator>

#include "channel/camera/base_camera.h"

namespace kvmon {

namespace {

constexpr char kGeneric[] = "Generic";

// By vendor number, from 1.
constexpr const char* kVendorNames[] = {
    "Vivotek",    "Panasonic", "Axis",           "Canon",    "LevelOne",  "D-Link",   "Arecont",   "Sanyo",
    "Orvo",       kGeneric,    "Panasonic iPro", "Sony",     "GANZ",      "iPUX",     "MOBOTIX",   "LINKSYS",
    "IQeye",      "Y-CAM",     "Toshiba",        "TrendNet", "ICS",       "ELMO",     "ACTi",      "Edimax",
    "EtroVision", "TOA",       "NAKAYO",         "CISCO",    "Messoa",    "Avtech",   "HikVision", "A-MTK",
    "CNB",        "",          "VioSecure",      "Digitus",  "Honeywell", "Brickcom", "IPX",       "Videosec",
    "Pelco",      "Shany",     "Optex",          "Onvif",    "Samsung",
};

}  // namespace

const char* GetVendorName(std::uint32_t dwVendorId) {
    return dwVendorId >= 1 && dwVendorId <= std::size(kVendorNames) ? kVendorNames[dwVendorId - 1] : kGeneric;
}

}  // namespace kvmon
