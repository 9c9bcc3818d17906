#include "control/property_map.h"

#include <array>
#include <iterator>

#include "control/automation.h"
#include "control/client_impl.h"
#include "platform/text.h"

namespace kvmon {

namespace {

// All entries, in the order in which they are read and written.
constexpr const char* kNames[] = {"_cx",           "_cy",      "ServerIP", "ServerPort", "AutoStart",
                                  "DefServerName", "HelpPath", "AuthData", "Language"};
constexpr std::size_t kFirstProperty = 2;
constexpr std::uint16_t kTypeLong = 3;
constexpr std::uint16_t kTypeText = 8;
constexpr std::uint32_t kMaxTextUnits = 32768;

std::uint32_t& ExtentOf(ControlExtent& extent, std::size_t index) {
    return index == 0 ? extent.cx : extent.cy;
}

// What a property is now. The reading of DefServerName by its member gives nothing.
Variant ReadProperty(CTR450ClientImpl& impl, const char* name) {
    return InvokeMember(impl, name, MemberKind::Get, {}).value;
}

bool PutProperty(CTR450ClientImpl& impl, const char* name, const Variant& value) {
    const std::array<Variant, 1> argument{value};
    return InvokeMember(impl, name, MemberKind::Put, argument).status == CallStatus::Ok;
}

class StreamWriter {
public:
    void Number(std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            m_bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
        }
    }
    void Value(const Variant& value) {
        if (const auto* const number = std::get_if<std::int32_t>(&value)) {
            Number(kTypeLong, 2);
            Number(static_cast<std::uint32_t>(*number), 4);
            return;
        }
        const auto* const text = std::get_if<std::string>(&value);
        const std::u16string units =
            text != nullptr ? ToUtf16(Utf16Left(*text, kMaxTextUnits)) : std::u16string();
        Number(kTypeText, 2);
        Number(static_cast<std::uint32_t>(units.size()), 4);
        for (const char16_t unit : units) {
            Number(unit, 2);
        }
    }
    std::vector<std::uint8_t> Take() { return std::move(m_bytes); }

private:
    std::vector<std::uint8_t> m_bytes;
};

class StreamReader {
public:
    explicit StreamReader(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

    std::optional<std::uint32_t> Number(std::size_t bytes) {
        if (m_bytes.size() < bytes) {
            return std::nullopt;
        }
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < bytes; ++i) {
            value |= std::uint32_t{m_bytes[i]} << (8 * i);
        }
        m_bytes = m_bytes.subspan(bytes);
        return value;
    }
    std::optional<Variant> Value() {
        const auto type = Number(2);
        const auto number = Number(4);
        if (!type || !number) {
            return std::nullopt;
        }
        if (*type == kTypeLong) {
            return Variant(static_cast<std::int32_t>(*number));
        }
        if (*type != kTypeText || *number > kMaxTextUnits || m_bytes.size() < std::size_t{*number} * 2) {
            return std::nullopt;
        }
        std::u16string units;
        for (std::uint32_t i = 0; i < *number; ++i) {
            units.push_back(static_cast<char16_t>(*Number(2)));
        }
        return Variant(FromUtf16(units));
    }
    bool AtEnd() const { return m_bytes.empty(); }

private:
    std::span<const std::uint8_t> m_bytes;
};

}  // namespace

bool LoadProperties(CTR450ClientImpl& impl, ControlExtent& extent, const PropertyBag& bag) {
    bool bAll = true;
    for (std::size_t i = 0; i < std::size(kNames); ++i) {
        const auto entry = bag.find(kNames[i]);
        if (entry == bag.end()) {
            continue;
        }
        if (i >= kFirstProperty) {
            bAll = PutProperty(impl, kNames[i], entry->second) && bAll;
            continue;
        }
        const auto number = ToLong(entry->second);
        if (number) {
            ExtentOf(extent, i) = static_cast<std::uint32_t>(*number);
        }
        bAll = bAll && number;
    }
    return bAll;
}

PropertyBag SaveProperties(CTR450ClientImpl& impl, const ControlExtent& extent) {
    PropertyBag bag{{kNames[0], static_cast<std::int32_t>(extent.cx)},
                    {kNames[1], static_cast<std::int32_t>(extent.cy)}};
    for (std::size_t i = kFirstProperty; i < std::size(kNames); ++i) {
        bag[kNames[i]] = ReadProperty(impl, kNames[i]);
    }
    return bag;
}

std::vector<std::uint8_t> SaveToStream(CTR450ClientImpl& impl, const ControlExtent& extent) {
    StreamWriter writer;
    writer.Number(extent.cx, 4);
    writer.Number(extent.cy, 4);
    for (std::size_t i = kFirstProperty; i < std::size(kNames); ++i) {
        writer.Value(ReadProperty(impl, kNames[i]));
    }
    return writer.Take();
}

bool LoadFromStream(CTR450ClientImpl& impl, ControlExtent& extent, std::span<const std::uint8_t> bytes) {
    StreamReader reader(bytes);
    const auto cx = reader.Number(4);
    const auto cy = reader.Number(4);
    PropertyBag bag;
    for (std::size_t i = kFirstProperty; i < std::size(kNames); ++i) {
        auto value = reader.Value();
        if (!value) {
            return false;
        }
        bag[kNames[i]] = std::move(*value);
    }
    if (!cx || !cy || !reader.AtEnd()) {
        return false;
    }
    extent = {*cx, *cy};
    return LoadProperties(impl, extent, bag);
}

}  // namespace kvmon
