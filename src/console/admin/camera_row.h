// A channel as the recorder's interface tells it. Inside this folder only.
#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtGui/QIcon>
#include <cstdint>

#include "skin/skin_colours.h"

namespace kvmon {

enum class CameraState : std::uint8_t { Live, Idle, Lost, None };

struct CameraRow {
    int channel = -1;
    QString name;
    CameraState state = CameraState::None;
    QString trouble;
    bool isCamera = false;  // has an address, else its pictures are made at the recorder
    QString address;
    QString user;
    bool hasPassword = false;
    bool overUdp = false;
    QString certificate;  // that is accepted: "sha256:...", "any", or empty
    QString picture;      // codec and size
};

CameraRow ReadCameraRow(const QJsonObject& told);
// In words, with the trouble.
QString StateWords(const CameraRow& row);
// Told by its form as well as by its colour.
QIcon StateIcon(CameraState state, const SkinColours& colours, qreal scale);

}  // namespace kvmon
