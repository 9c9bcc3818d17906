// Blocks of zeros that libav asks for: all zeros, whatever was there before, and in memory only where written
// to.
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/mem.h>
}

namespace {

struct Block {
    std::uint8_t* bytes = nullptr;
    std::size_t size = 0;
};

// Of its whole pages, those in memory.
double ResidentPart(const void* block, std::size_t size) {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    const std::uintptr_t begin = (reinterpret_cast<std::uintptr_t>(block) + page - 1) / page * page;
    const std::uintptr_t end = (reinterpret_cast<std::uintptr_t>(block) + size) / page * page;
    std::vector<unsigned char> pages((end - begin) / page);
    EXPECT_EQ(::mincore(reinterpret_cast<void*>(begin), end - begin, pages.data()), 0);
    const auto count =
        std::count_if(pages.begin(), pages.end(), [](unsigned char p) { return (p & 1) != 0; });
    return static_cast<double>(count) / static_cast<double>(pages.size());
}

TEST(ZeroedBlocks, AreZerosInWhateverMemoryTheyLieAndLeaveTheirNeighboursAlone) {
    constexpr std::size_t kSizes[] = {1,     4096,  65535,  65536,  65537,   69632,
                                      69633, 80000, 131072, 300001, 1000003, 4000000};
    // The second round gets the memory of the first, the third half of it beside what stayed.
    std::vector<Block> blocks;
    for (int round = 0; round < 3; ++round) {
        for (const std::size_t size : kSizes) {
            auto* const bytes = static_cast<std::uint8_t*>(av_mallocz(size));
            ASSERT_NE(bytes, nullptr);
            EXPECT_TRUE(std::all_of(bytes, bytes + size, [](int byte) { return byte == 0; })) << size;
            std::memset(bytes, 0xA5, size);
            blocks.push_back({bytes, size});
        }
        std::vector<Block> kept;
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            const auto& [bytes, size] = blocks[i];
            EXPECT_TRUE(std::all_of(bytes, bytes + size, [](int byte) { return byte == 0xA5; })) << size;
            if (round == 1 && i % 2 == 0) {
                kept.push_back(blocks[i]);
            } else {
                av_free(bytes);
            }
        }
        blocks = std::move(kept);
    }
}

TEST(ZeroedBlocks, LibavcodecTakesThemForItsDecoders) {
    struct End {
        void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    };
    const AVCodec* const codec = avcodec_find_decoder(AV_CODEC_ID_H264);
    const std::unique_ptr<AVCodecContext, End> context(avcodec_alloc_context3(codec));
    ASSERT_EQ(avcodec_open2(context.get(), codec, nullptr), 0);
    const std::size_t size = ::malloc_usable_size(context->priv_data);
    ASSERT_GT(size, 500'000u);
    EXPECT_LT(ResidentPart(context->priv_data, size), 0.5);
}

}  // namespace
