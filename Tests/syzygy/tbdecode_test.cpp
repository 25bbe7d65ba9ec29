// Reading table files that are cut, altered or of the rare wide form, from memory blocks of exactly their size.
#include "syzygy_fixture.h"

#include <algorithm>
#include <iterator>
#include <random>
#include <set>
#include <utility>

namespace {

using SyzygyDecoding = Syzygy;

struct TableFile {
    std::string name;
    TableKind kind;
    Material material;
    std::vector<std::uint8_t> bytes;
};

// The repository's tables, registered first; the registry knows each name's material.
std::vector<TableFile> all_tables() {
    std::set<const TableEntry*> entries;
    for (const auto& row : read_rows(data_file("syzygy/oracle.tsv"))) {
        if (const TableEntry* entry = find_table(material_key(Game(row[0]).probe(), WHITE))) entries.insert(entry);
    }
    std::vector<TableFile> files;
    for (const TableEntry* entry : entries) {
        for (const TableKind kind : {WDL_TABLE, DTZ_TABLE}) {
            const std::string name = entry->name + (kind == WDL_TABLE ? ".rtbw" : ".rtbz");
            std::ifstream in(data_file("syzygy/" + name), std::ios::binary);
            if (in) files.push_back({entry->name, kind, entry->material, {std::istreambuf_iterator<char>(in), {}}});
        }
    }
    return files;
}

const TableFile& find_file(const std::vector<TableFile>& files, const std::string& name, TableKind kind) {
    return *std::find_if(files.begin(), files.end(), [&](auto& f) { return f.name == name && f.kind == kind; });
}

// The bytes in a block of their own, so that reading past their end is seen by an address sanitizer.
struct Block {
    std::unique_ptr<std::uint8_t[]> memory;
    FileMap map;

    explicit Block(const std::vector<std::uint8_t>& bytes) : memory(new std::uint8_t[bytes.size()]) {
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
    use_path(data_file("syzygy"));
    const std::vector<TableFile> files = all_tables();
    ASSERT_GT(files.size(), 20u);
    const int count = trials(300);
    std::mt19937_64 random(7);
    int rejected = 0;
    for (int trial = 0; trial < count; ++trial) {
        const TableFile& file = files[random() % files.size()];
        std::vector<std::uint8_t> bytes = file.bytes;
        const bool cut = random() % 3 == 0;
        if (cut) {
            bytes.resize(random() % (bytes.size() - 79));  // padding and a checksum of 16 bytes end the file
        } else {
            const std::size_t reach = random() % 2 ? std::min<std::size_t>(bytes.size(), 400) : bytes.size();
            for (std::size_t flips = 1 + random() % 8; flips > 0; --flips)
                bytes[random() % reach] ^= 1u << random() % 8;
        }
        const Block block(bytes);
        TableData table;
        const bool sound = set_up_table(table, block.map, file.material, file.kind);
        rejected += !sound;
        EXPECT_FALSE(sound && cut && file.bytes.size() > 80) << file.name << " cut to " << bytes.size();
        EXPECT_TRUE(!sound || values_in_range(table, file.kind, random, 40)) << file.name << " trial " << trial;
    }
    EXPECT_GT(rejected, count / 3);
    EXPECT_LT(rejected, count);
}

TEST_F(SyzygyDecoding, block_numbers_beyond_the_file_are_found_at_set_up) {
    use_path(data_file("syzygy"));
    const std::vector<TableFile> files = all_tables();
    const TableFile& file = find_file(files, "KRvKB", WDL_TABLE);
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
        std::vector<std::uint8_t> bytes = file.bytes;
        bytes[place - whole.map.data] ^= 0xFF;
        const Block block(bytes);
        TableData damaged;
        EXPECT_FALSE(set_up_table(damaged, block.map, file.material, WDL_TABLE)) << what;
    }
}

// Another program may write to a mapped file. Values may then be wrong, but nothing is read outside the file.
TEST_F(SyzygyDecoding, bytes_that_change_after_set_up_are_read_within_their_bounds) {
    use_path(data_file("syzygy"));
    std::mt19937_64 random(11);
    for (const TableFile& file : all_tables()) {
        const Block block(file.bytes);
        TableData table;
        ASSERT_TRUE(set_up_table(table, block.map, file.material, file.kind)) << file.name;
        EXPECT_TRUE(is_whole(table)) << file.name;
        std::uint8_t* const bytes = block.memory.get();
        for (const int fill : {0xFF, 0x55, -1, -1, 0}) {  // -1: random bytes
            std::generate(bytes, bytes + file.bytes.size(), [&] { return fill < 0 ? random() : fill; });
            EXPECT_TRUE(values_in_range(table, file.kind, random, 40)) << file.name << ' ' << fill;
            EXPECT_FALSE(is_whole(table)) << file.name << ' ' << fill;
        }
    }
}

// Large tables have value maps of 16-bit words. Here they follow the piece orders of a small one, in which every
// position is stored as 1: set 0 has bytes, an odd number of them, set 1 words.
TEST_F(SyzygyDecoding, wide_value_maps_are_read_as_words) {
    use_path(data_file("syzygy"));
    const std::vector<TableFile> files = all_tables();
    const TableFile& file = find_file(files, "KPvK", DTZ_TABLE);
    std::vector<std::uint8_t> bytes(file.bytes.begin(), file.bytes.begin() + 22);
    for (const int flags : {+DTZ_MAPPED, DTZ_MAPPED | DTZ_WIDE | DTZ_WIN_PLIES, 0, 0}) {
        bytes.insert(bytes.end(), {static_cast<std::uint8_t>(0x80 | flags), 1});
    }
    bytes.insert(bytes.end(), {2, 8, 9, 1, 7, 0, 0});  // of a win, a loss, a cursed win, a blessed loss
    bytes.insert(bytes.end(), {0, 2, 0, 5, 0, 0x2C, 1, 0, 0, 0, 0, 0, 0});
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
