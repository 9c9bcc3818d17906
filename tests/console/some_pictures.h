// A stream with pictures in it.
#pragma once

#include <QtCore/QBuffer>
#include <QtGui/QImage>
#include <string>

#include "support/scripted_server.h"
#include "wire/frame_header.h"

namespace kvtest {

// A stream's reply with a few pictures in it.
inline std::string SomePictures() {
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    QImage image(64, 48, QImage::Format_RGB32);
    image.fill(Qt::darkGreen);
    image.save(&buffer, "JPG");
    std::string head(wire::kFrameHeaderSize, '\0');
    const auto put = [&head](std::size_t at, std::uint32_t word) {
        for (std::size_t i = 0; i < 4; ++i) {
            head[at + i] = static_cast<char>(word >> 8 * i & 0xFF);
        }
    };
    put(wire::kFourccOffset, wire::kZIVG);
    put(wire::kKeyFlagOffset, 1);
    put(wire::kWidthOffset, 64);
    put(wire::kHeightOffset, 48);
    put(wire::kDataSizeOffset, static_cast<std::uint32_t>(jpeg.size()));
    const std::string record = head + jpeg.toStdString();
    return HttpReply(200, "OK", record + record + record);
}

}  // namespace kvtest
