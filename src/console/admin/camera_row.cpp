#include "console/admin/camera_row.h"

#include <QtGui/QPainter>

#include "console/admin/admin_texts.h"
#include "console/admin/told_words.h"
#include "console/dialogs/dialog_parts.h"
#include "platform/outside_text.h"

namespace kvmon {

namespace {

constexpr int kIconSide = 16;

QString LineOf(const QJsonValue& value) {
    return QString::fromStdString(OutsideLine(value.toString().toStdString()));
}

}  // namespace

CameraRow ReadCameraRow(const QJsonObject& told) {
    CameraRow row;
    row.channel = told["channel"].toInt(-1);
    row.name = LineOf(told["name"]);
    const QString state = told["state"].toString();
    row.state = state == QLatin1String("live")   ? CameraState::Live
                : state == QLatin1String("idle") ? CameraState::Idle
                : state == QLatin1String("lost") ? CameraState::Lost
                                                 : CameraState::None;
    row.trouble = QString::fromStdString(ToldWords(told, QStringLiteral("trouble")));
    row.isCamera = told["kind"].toString() == QLatin1String("camera");
    row.address = LineOf(told["address"]);
    row.user = LineOf(told["user"]);
    row.hasPassword = told["has_password"].toBool();
    row.overUdp = told["transport"].toString() == QLatin1String("udp");
    row.certificate = LineOf(told["certificate"]);
    if (const QString codec = LineOf(told["codec"]); !codec.isEmpty()) {
        row.picture =
            QStringLiteral("%1, %2 x %3").arg(codec).arg(told["width"].toInt()).arg(told["height"].toInt());
    }
    return row;
}

QString StateWords(const CameraRow& row) {
    switch (row.state) {
        case CameraState::Live:
            return Text(kStrLive);
        case CameraState::Idle:
            return Text(kStrIdle);
        case CameraState::Lost:
            return row.trouble.isEmpty() ? Text(kStrLost)
                                         : QStringLiteral("%1: %2").arg(Text(kStrLost), row.trouble);
        case CameraState::None:
            break;
    }
    return Text(kStrNone);
}

// A disc, a ring, a triangle, a dash.
QIcon StateIcon(CameraState state, const SkinColours& colours, qreal scale) {
    QPixmap picture(QSize(kIconSide, kIconSide) * scale);
    picture.setDevicePixelRatio(scale);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor good(colours.good);
    const QColor ink(colours.ink);
    switch (state) {
        case CameraState::Live:
            painter.setPen(Qt::NoPen);
            painter.setBrush(good);
            painter.drawEllipse(QRectF(3, 3, 10, 10));
            break;
        case CameraState::Idle:
            painter.setPen(QPen(ink, 1.6));
            painter.drawEllipse(QRectF(3.8, 3.8, 8.4, 8.4));
            break;
        case CameraState::Lost:
            painter.setPen(Qt::NoPen);
            painter.setBrush(QColor(colours.record));
            painter.drawPolygon(QPolygonF({{8, 1.5}, {15, 14}, {1, 14}}));
            break;
        case CameraState::None:
            painter.setPen(QPen(ink, 1.6));
            painter.drawLine(QPointF(4, 8), QPointF(12, 8));
            break;
    }
    painter.end();
    // The list draws a chosen row's pictures in a tint of its own; a state keeps its colour.
    QIcon icon(picture);
    icon.addPixmap(picture, QIcon::Selected);
    return icon;
}

}  // namespace kvmon
