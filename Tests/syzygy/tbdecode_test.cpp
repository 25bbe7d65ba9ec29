// Reading table files that are cut, altered or of the rare wide form, from memory blocks of exactly their size.
#include "syzygy_fixture.h"

#include <algorithm>
#include <iterator>
#include <random>
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

// The repository's tables, which are registered.
std::vector<TableFile> all_tables() {
    std::vector<TableFile> files;
    for (const fs::path& path : std::set<fs::path>(fs::directory_iterator(data_file("syzygy")), {})) {
        if (path.extension() != ".tsv") files.push_back(table_file(path));
    }
    return files;
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

// Reads values all over the table; true if all are in the format's range.
bool values_in_range(const TableData& table, TableKind kind, std::mt19937_64& random, int count) {
    bool good = true;
    for (const EncodingSet& set : table.sets) {
        for (int i = 0; i < count; ++i) {
            const std::uint64_t index = i == 0 ? 0 : i == 1 ? set.order.positions - 1 : random() % set.order.positions;
            const int value = stored_value(table, set, index);
            good &= value >= -1 && value <= 4095;
            if (kind != DTZ_TABLE || value < 0) continue;
            for (const int wdl : {-2, -1, 1, 2}) good &= mapped_dtz(table, set.dtz, value, wdl) >= -1;
        }
    }
    return good;
}

}  // namespace

TEST_F(SyzygyDecoding, cut_and_altered_files_are_rejected_or_read_within_their_bounds) {
    const std::vector<TableFile> files = all_tables();
    ASSERT_GT(files.size(), 20u);
    std::mt19937_64 random(7);
    int rejected = 0;
    for (int trial = 0; trial < 300; ++trial) {
        const TableFile& file = files[random() % files.size()];
        std::string bytes = file.bytes;
        const bool cut = random() % 3 == 0;
        if (cut) {
            bytes.resize(random() % (bytes.size() - 79));  // padding and a checksum of 16 bytes end the file
        } else {
            const std::size_t reach = random() % 2 ? std::min<std::size_t>(bytes.size(), 400) : bytes.size();
            for (std::size_t flips = 1 + random() % 8; flips > 0; --flips)
                bytes[random() % reach] ^= static_cast<char>(1u << random() % 8);
        }
        const Block block(bytes);
        TableData table;
        const bool sound = set_up_table(table, block.map, file.material, file.kind);
        rejected += !sound;
        EXPECT_FALSE(sound && cut && file.bytes.size() > 80) << file.name << " cut to " << bytes.size();
        if (!sound) continue;
        EXPECT_TRUE(values_in_range(table, file.kind, random, 40)) << file.name << " trial " << trial;
        // Another program may write to a mapped file. Values may then be wrong, but nothing is read outside the file.
        std::generate(block.memory.get(), block.memory.get() + bytes.size(), [&] { return random(); });
        EXPECT_TRUE(values_in_range(table, file.kind, random, 40)) << file.name << " trial " << trial;
    }
    EXPECT_TRUE(rejected > 100 && rejected < 300) << rejected;
}

TEST_F(SyzygyDecoding, block_numbers_beyond_the_file_are_found_at_set_up) {
    const TableFile file = table_file(data_file("syzygy/KRvKB.rtbw"));
    const Block whole(file.bytes);
    TableData table;
    ASSERT_TRUE(set_up_table(table, whole.map, file.material, WDL_TABLE));
    const PairsData& pairs = table.sets[1].pairs;
    const std::uint8_t* const end = whole.map.data + whole.map.size;
    const std::uint8_t* const symbols = std::search(whole.map.data, end, pairs.symbols.begin(), pairs.symbols.end());
    ASSERT_NE(symbols, end);
    const std::pair<const char*, const std::uint8_t*> places[] = {
        {"block number of a span", pairs.index_table + 3},
        {"middle of a span", pairs.index_table + 4},
        {"size of a block", pairs.size_table},
        {"left symbol of a pair", symbols + 3 * (pairs.symbol_lengths.size() - 1)},
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
