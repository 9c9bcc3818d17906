#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <new>

#include "platform/secret_memory.h"

using namespace kvmon;

TEST(SecretMemory, NothingOfASecretIsLeftInItsPlace) {
    // A place that outlives what stands in it.
    alignas(SecretText<64>) std::array<unsigned char, sizeof(SecretText<64>)> place{};
    const auto isWiped = [&] {
        return std::all_of(place.begin(), place.end(), [](unsigned char c) { return c == 0; });
    };
    auto* const secret = new (place.data()) SecretText<64>("a long secret");
    *secret = std::string_view("short");
    EXPECT_EQ(SecretText<64>(*secret).View(), "short");
    EXPECT_FALSE(isWiped());
    secret->~SecretText();
    EXPECT_TRUE(isWiped());

    std::string text(100, 's');
    text.resize(3);
    { const WipeAtEnd wipe(text); }
    EXPECT_TRUE(text.empty());
}
