// The control's properties as a page or a document keeps them.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "control/variant.h"

namespace kvmon {

class CTR450ClientImpl;

// The size the document gives the control, in its own units.
struct ControlExtent {
    std::uint32_t cx = 0;
    std::uint32_t cy = 0;
    friend bool operator==(const ControlExtent&, const ControlExtent&) = default;
};

using PropertyBag = std::map<std::string, Variant>;

// Takes what the bag has; the rest stays as it is. False if a value could not be converted; those before and
// after it are taken all the same.
bool LoadProperties(CTR450ClientImpl& impl, ControlExtent& extent, const PropertyBag& bag);
PropertyBag SaveProperties(CTR450ClientImpl& impl, const ControlExtent& extent);

// The stream form: the two extents as 32-bit little endian, then for each property its type (3 a 32-bit
// number, 8 text, as 16 bits) and its value; text as a 32-bit count of UTF-16 units and these.
std::vector<std::uint8_t> SaveToStream(CTR450ClientImpl& impl, const ControlExtent& extent);
// False with nothing taken if the bytes are not such a stream.
bool LoadFromStream(CTR450ClientImpl& impl, ControlExtent& extent, std::span<const std::uint8_t> bytes);

}  // namespace kvmon
