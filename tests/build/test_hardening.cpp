// How the programs are linked: what an attacker finds of them in memory.
#include <elf.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>

namespace {

class Elf {
public:
    explicit Elf(const std::string& path) {
        std::ostringstream bytes;
        bytes << std::ifstream(path, std::ios::binary).rdbuf();
        m_bytes = std::move(bytes).str();
        m_bGood = Read(0, m_head) && std::memcmp(m_head.e_ident, ELFMAG, SELFMAG) == 0 &&
                  m_head.e_ident[EI_CLASS] == ELFCLASS64;
    }

    bool IsGood() const { return m_bGood; }
    bool IsMovable() const { return m_head.e_type == ET_DYN; }
    bool Segment(std::uint32_t type, Elf64_Phdr& segment) const {
        for (std::size_t i = 0; i < m_head.e_phnum; ++i) {
            if (Read(m_head.e_phoff + i * m_head.e_phentsize, segment) && segment.p_type == type) {
                return true;
            }
        }
        return false;
    }
    std::uint64_t Dynamic(Elf64_Sxword tag) const {
        Elf64_Phdr dynamic{};
        if (!Segment(PT_DYNAMIC, dynamic)) {
            return 0;
        }
        Elf64_Dyn entry{};
        for (std::uint64_t at = dynamic.p_offset; Read(at, entry) && entry.d_tag != DT_NULL;
             at += sizeof(entry)) {
            if (entry.d_tag == tag) {
                return entry.d_un.d_val;
            }
        }
        return 0;
    }

private:
    template <typename Part>
    bool Read(std::uint64_t at, Part& part) const {
        if (at + sizeof(part) > m_bytes.size()) {
            return false;
        }
        std::memcpy(&part, m_bytes.data() + at, sizeof(part));
        return true;
    }

    std::string m_bytes;
    Elf64_Ehdr m_head{};
    bool m_bGood = false;
};

}  // namespace

TEST(Hardening, AddressesOfLibrariesAreBoundAtTheStartAndReadOnly) {
    std::istringstream programs(KV_PROGRAMS);
    int count = 0;
    for (std::string path; std::getline(programs, path, '|'); ++count) {
        const Elf program(path);
        ASSERT_TRUE(program.IsGood()) << path;
        Elf64_Phdr segment{};
        EXPECT_TRUE(program.Segment(PT_GNU_RELRO, segment)) << path;
        EXPECT_TRUE((program.Dynamic(DT_FLAGS) & DF_BIND_NOW) != 0 ||
                    (program.Dynamic(DT_FLAGS_1) & DF_1_NOW) != 0)
            << path;
        EXPECT_TRUE(program.IsMovable()) << path;
        ASSERT_TRUE(program.Segment(PT_GNU_STACK, segment)) << path;
        EXPECT_EQ(segment.p_flags & PF_X, 0u) << path;
    }
    EXPECT_EQ(count, 4);
}
