#include "records.h"

#include "wire/frame_header.h"

namespace kvbench {

namespace {

void PutWord(std::vector<std::uint8_t>& bytes, std::size_t place, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[place + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

std::vector<std::uint8_t> MakeHead(const StreamKind& kind, bool key, std::size_t size) {
    std::vector<std::uint8_t> head(wire::kFrameHeaderSize);
    PutWord(head, wire::kFourccOffset,
            kind.coding == kvtest::Coding::Mjpeg  ? wire::kZIVG
            : kind.coding == kvtest::Coding::H265 ? wire::kZ265
                                                  : wire::kZ264);
    PutWord(head, wire::kKeyFlagOffset, key ? 1 : 0);
    PutWord(head, wire::kWidthOffset, static_cast<std::uint32_t>(kind.width));
    PutWord(head, wire::kHeightOffset, static_cast<std::uint32_t>(kind.height));
    PutWord(head, wire::kReservedOffset, wire::kVideoReserved);
    PutWord(head, wire::kDataSizeOffset, static_cast<std::uint32_t>(size));
    return head;
}

}  // namespace

std::vector<Record> MakeRecords(const StreamKind& kind, int count) {
    kvtest::CodingOptions options;
    options.frames = count;
    options.keyInterval = kKeyInterval;
    options.bitrate = kind.bitrate;
    const bool jpeg = kind.coding == kvtest::Coding::Mjpeg;
    std::vector<Record> records;
    for (const auto& unit : kvtest::EncodeMovingPictures(kind.coding, kind.width, kind.height, options)) {
        Record record;
        record.jpeg = jpeg;
        if (!jpeg) {
            record.bytes = MakeHead(kind, unit.key, unit.bytes.size());
            record.headSize = record.bytes.size();
        }
        record.bytes.insert(record.bytes.end(), unit.bytes.begin(), unit.bytes.end());
        records.push_back(std::move(record));
    }
    return records;
}

std::vector<std::uint8_t> WireBytes(const StreamKind& kind, const std::vector<Record>& records) {
    std::vector<std::uint8_t> bytes;
    for (const Record& record : records) {
        if (record.headSize == 0) {
            const auto head = MakeHead(kind, true, record.bytes.size());
            bytes.insert(bytes.end(), head.begin(), head.end());
        }
        bytes.insert(bytes.end(), record.bytes.begin(), record.bytes.end());
    }
    return bytes;
}

}  // namespace kvbench
