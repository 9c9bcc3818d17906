#include <gtest/gtest.h>

#include <string>

#include "codec/sony_h264.h"
#include "content/coded_pictures.h"

using namespace kvmon;

namespace {

const std::string kStart("\0\0\0\1", 4);
const std::string kLenientStart("\x80\0\0\1", 4);

class Bits {
public:
    Bits& Put(std::uint32_t value, int count) {
        for (int i = count - 1; i >= 0; --i, ++m_count) {
            if (m_count % 8 == 0) {
                m_bytes += '\0';
            }
            m_bytes.back() = static_cast<char>(m_bytes.back() | ((value >> i & 1) << (7 - m_count % 8)));
        }
        return *this;
    }
    Bits& Unsigned(std::uint32_t value) {
        int length = 0;
        while ((value + 1) >> (length + 1) != 0) {
            ++length;
        }
        return Put(0, length).Put(value + 1, length + 1);
    }
    std::string Bytes() { return Put(1, 1).m_bytes; }

private:
    std::string m_bytes;
    int m_count = 0;
};

// A sequence parameter set of the base profile.
std::string Sequence(std::uint32_t columns, std::uint32_t rows, std::uint32_t cutBottom = 0) {
    Bits bits;
    bits.Put(66, 8).Put(0, 16).Unsigned(0).Unsigned(0).Unsigned(2).Unsigned(1).Put(0, 1);
    bits.Unsigned(columns - 1).Unsigned(rows - 1).Put(1, 1).Put(1, 1).Put(cutBottom > 0 ? 1 : 0, 1);
    if (cutBottom > 0) {
        bits.Unsigned(0).Unsigned(0).Unsigned(0).Unsigned(cutBottom);
    }
    return '\x67' + bits.Put(0, 1).Bytes();
}

std::string Slice(std::uint32_t type) {
    return '\x41' + Bits().Unsigned(0).Unsigned(type).Put(0x55, 8).Bytes();
}

struct Sony : testing::Test {
    bool Parse(const std::string& block) {
        return source.parse_header({reinterpret_cast<const std::uint8_t*>(block.data()), block.size()});
    }
    TSonyH264VideoSource source;
};

}  // namespace

TEST_F(Sony, TheWalkEndsAtTheFirstSlice) {
    const std::string information = kStart + '\x06' + "info";
    const std::string key = kStart + '\x65' + "slice";
    EXPECT_TRUE(Parse(kStart + Sequence(20, 15) + information + key + kStart + Slice(2)));
    EXPECT_EQ(source.width(), 320);
    EXPECT_EQ(source.height(), 240);
    EXPECT_TRUE(source.is_key_frame());
    EXPECT_EQ(source.information_offset(), 4 + Sequence(20, 15).size());

    EXPECT_TRUE(Parse(kStart + Slice(0) + key));
    EXPECT_TRUE(source.is_key_frame());
    EXPECT_FALSE(source.information_offset());
    EXPECT_TRUE(Parse(kStart + Slice(5) + key));
    EXPECT_FALSE(source.is_key_frame()) << "only the coded type 0 is one";
    EXPECT_EQ(source.width(), 320) << "known from the block before";
}

TEST_F(Sony, AStartCodeMayBeginWith80) {
    EXPECT_TRUE(Parse("junk" + kLenientStart + Sequence(10, 8) + kLenientStart + Slice(2)));
    EXPECT_EQ(source.width(), 160);
    EXPECT_EQ(source.height(), 120) << "160 x 128 is how these cameras tell it";
    EXPECT_FALSE(Parse(std::string("\x81\0\0\1", 4) + Slice(2)));
}

TEST_F(Sony, WhatMakesNoSenseIsRefused) {
    EXPECT_FALSE(Parse(""));
    EXPECT_FALSE(Parse(kStart));
    EXPECT_FALSE(Parse(kStart + Sequence(20, 15))) << "no slice";
    EXPECT_FALSE(Parse(kStart + '\x0B' + kStart + Slice(2))) << "type 11";
    EXPECT_TRUE(Parse(kStart + '\x0A' + "end" + kStart + Slice(2)));
    const std::string whole = Sequence(80, 45);
    for (std::size_t length = 1; length + 1 < whole.size(); ++length) {
        EXPECT_TRUE(Parse(kStart + whole.substr(0, length) + kStart + Slice(2)));
    }
    EXPECT_EQ(source.width(), 320) << "a set that is cut short tells nothing";
}

// What an encoder writes, with the high profile's lists and a size that is no multiple of 16.
TEST_F(Sony, ReadsTheSizeOfARealStream) {
    kvtest::CodingOptions options;
    options.frames = 2;
    const auto units = kvtest::EncodeMovingPictures(kvtest::Coding::H264, 176, 98, options);
    ASSERT_TRUE(source.parse_header(units[0].bytes));
    EXPECT_EQ(source.width(), 176);
    EXPECT_EQ(source.height(), 98);
    EXPECT_TRUE(source.is_key_frame());
}
