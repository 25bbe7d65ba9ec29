// Reading table files that are damaged in places of their layout or of the rare wide form, from memory blocks of
// exactly their size. Files that are altered anywhere go through fuzz/tablebase.cpp, cut ones through
// tbtruncation_test.cpp.
#include "syzygy_fixture.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

namespace {

struct SyzygyDecoding : Syzygy {
    SyzygyDecoding() { use_path(data_file("syzygy")); }
};

struct TableFile {
    std::string name;
    TableKind kind;
    Material material;
    std::string bytes;
};

TableFile table_file(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    const std::string name = path.stem().string();
    const TableKind kind = path.extension() == ".rtbw" ? WDL_TABLE : DTZ_TABLE;
    return {name, kind, entry_of(name)->material, {std::istreambuf_iterator<char>(in), {}}};
}

// The bytes in a block of their own, so that reading past their end is seen by an address sanitizer.
struct Block {
    std::unique_ptr<std::uint8_t[]> memory;
    FileMap map;

    explicit Block(const std::string& bytes) : memory(new std::uint8_t[bytes.size()]) {
        std::copy(bytes.begin(), bytes.end(), memory.get());
        map.data = memory.get();
        map.size = bytes.size();
    }
};

}  // namespace

// Padding and a checksum of 16 bytes end a file; without anything else it is no table.
TEST_F(SyzygyDecoding, cut_files_are_rejected) {
    for (const fs::path& path : std::set<fs::path>(fs::directory_iterator(data_file("syzygy")), {})) {
        if (path.extension() == ".tsv") continue;
        const TableFile file = table_file(path);
        for (std::size_t size = 0; size + 79 < file.bytes.size(); size += 1 + file.bytes.size() / 40) {
            const Block block(file.bytes.substr(0, size));
            TableData table;
            EXPECT_FALSE(set_up_table(table, block.map, file.material, file.kind)) << file.name << " cut to " << size;
        }
    }
}

TEST_F(SyzygyDecoding, block_numbers_beyond_the_file_are_found_at_set_up) {
    const TableFile file = table_file(data_file("syzygy/KRvKB.rtbw"));
    const Block whole(file.bytes);
    TableData table;
    ASSERT_TRUE(set_up_table(table, whole.map, file.material, WDL_TABLE));
    const PairsData& pairs = table.sets[1].pairs;
    const std::pair<const char*, const std::uint8_t*> places[] = {
        {"block number of a span", pairs.index_table + 3},
        {"middle of a span", pairs.index_table + 4},
        {"size of a block", pairs.size_table},
    };
    for (const auto& [what, place] : places) {
        std::string bytes = file.bytes;
        bytes[place - whole.map.data] ^= '\xFF';
        const Block block(bytes);
        TableData damaged;
        EXPECT_FALSE(set_up_table(damaged, block.map, file.material, WDL_TABLE)) << what;
    }
}

// Large tables have value maps of 16-bit words. Here they follow the piece orders of a small one, in which every
// position is stored as 1: set 0 has bytes, an odd number of them, set 1 words.
TEST_F(SyzygyDecoding, wide_value_maps_are_read_as_words) {
    const TableFile file = table_file(data_file("syzygy/KPvK.rtbz"));
    std::string bytes = file.bytes.substr(0, 22);
    for (const int flags : {+DTZ_MAPPED, DTZ_MAPPED | DTZ_WIDE | DTZ_WIN_PLIES, 0, 0}) {
        bytes += {static_cast<char>(0x80 | flags), 1};
    }
    bytes += {2, 8, 9, 1, 7, 0, 0};  // of a win, a loss, a cursed win, a blessed loss
    bytes += {0, 2, 0, 5, 0, 0x2C, 1, 0, 0, 0, 0, 0, 0};
    const Block block(bytes);
    TableData table;
    ASSERT_TRUE(set_up_table(table, block.map, file.material, DTZ_TABLE));
    const struct {
        int set, wdl, dtz;
    } cases[] = {{0, 2, 2 * 9}, {0, -2, -1}, {1, 2, 0x12C}, {1, -2, -1}, {2, 1, 2 * 1}};
    for (const auto& c : cases) {
        const EncodingSet& set = table.sets[c.set];
        EXPECT_EQ(mapped_dtz(table, set.dtz, stored_value(table, set, 0), c.wdl), c.dtz) << c.set << ' ' << c.wdl;
    }
}
