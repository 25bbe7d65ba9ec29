// Reading table files that are cut, altered or of the rare wide form, from memory blocks of exactly their size.
#include "syzygy_fixture.h"

#include <algorithm>
#include <cstring>
#include <random>

namespace {

using SyzygyDecoding = Syzygy;

struct TableFile {
    std::string name;
    TableKind kind;
    Material material;
    std::vector<std::uint8_t> bytes;
};

std::vector<std::uint8_t> read_bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// The repository's tables by the positions of its answer file. The registry knows each name's material.
std::vector<TableFile> all_tables() {
    std::vector<TableFile> files;
    std::vector<std::string> seen;
    for (const auto& row : read_rows(data_file("syzygy/oracle.tsv"))) {
        const TableEntry* const entry = find_table(material_key(Game(row[0]).probe(), WHITE));
        if (!entry || std::find(seen.begin(), seen.end(), entry->name) != seen.end()) continue;
        seen.push_back(entry->name);
        for (const TableKind kind : {WDL_TABLE, DTZ_TABLE}) {
            const std::string path = data_file("syzygy/" + entry->name + (kind == WDL_TABLE ? ".rtbw" : ".rtbz"));
            if (fs::exists(path)) files.push_back({entry->name, kind, entry->material, read_bytes(path)});
        }
    }
    return files;
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
            good = good && value >= -1 && value <= 4095;
            if (kind != DTZ_TABLE || value < 0) continue;
            for (const int wdl : {-2, -1, 1, 2}) good = good && mapped_dtz(table, set.dtz, value, wdl) >= -1;
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
            for (std::size_t flips = 1 + random() % 8; flips > 0; --flips) {
                bytes[random() % reach] ^= static_cast<std::uint8_t>(1u << random() % 8);
            }
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
    const auto file = std::find_if(files.begin(), files.end(), [](auto& f) { return f.name == "KRvKB"; });
    ASSERT_NE(file, files.end());
    const Block whole(file->bytes);
    TableData table;
    ASSERT_TRUE(set_up_table(table, whole.map, file->material, WDL_TABLE));
    const PairsData& pairs = table.sets[1].pairs;
    struct Damage {
        const char* what;
        const std::uint8_t* place;
    };
    const Damage damages[] = {{"block number of a span", pairs.index_table + 3},
                              {"middle of a span", pairs.index_table + 4},
                              {"size of a block", pairs.size_table},
                              {"left symbol of a pair", pairs.symbols + 3 * (pairs.symbol_lengths.size() - 1)}};
    for (const Damage& damage : damages) {
        std::vector<std::uint8_t> bytes = file->bytes;
        bytes[static_cast<std::size_t>(damage.place - whole.map.data)] ^= 0xFF;
        const Block block(bytes);
        TableData damaged;
        EXPECT_FALSE(set_up_table(damaged, block.map, file->material, WDL_TABLE)) << damage.what;
    }
}

// The file with the value maps of `widened` sets as 16-bit words in place of bytes, as large tables have them.
static std::vector<std::uint8_t> widen_maps(const std::vector<std::uint8_t>& old, const TableData& table,
                                            const std::vector<bool>& widened) {
    const auto place = [&](const std::uint8_t* pointer) { return pointer - table.file; };
    const auto even = [](auto offset) { return (offset + 1) / 2 * 2; };
    const PairsData& first = table.sets.front().pairs;
    const PairsData& last = table.sets.back().pairs;
    std::vector<std::uint8_t> bytes(old.begin(), old.begin() + table.sets[0].dtz.start[0] - 1);
    for (std::size_t set = 0; set < table.sets.size(); ++set) {
        const DtzMap& map = table.sets[set].dtz;
        // A set's header follows the orders of the pieces or the symbols of the set before.
        const int pieces = table.sets[0].order.count;
        const int orders = table.sets.size() == 1 ? 1 + pieces : 4 * (2 + pieces);
        const PairsData& before = table.sets[set == 0 ? 0 : set - 1].pairs;
        const auto header =
            set == 0 ? even(5 + orders) : even(place(before.symbols + 3 * before.symbol_lengths.size()));
        EXPECT_EQ(bytes[static_cast<std::size_t>(header)], map.flags);
        if (widened[set]) {
            bytes[static_cast<std::size_t>(header)] |= DTZ_WIDE;
            bytes.resize(even(bytes.size()));
        }
        for (int i = 0; i < 4; ++i) {
            for (std::uint32_t k = map.start[i] - 1; k < map.start[i] + map.count[i]; ++k) {
                bytes.push_back(old[k]);
                if (widened[set]) bytes.push_back(0);
            }
        }
    }
    bytes.resize(even(bytes.size()));
    bytes.insert(bytes.end(), old.begin() + place(first.index_table),
                 old.begin() + place(last.size_table) + 2 * static_cast<std::ptrdiff_t>(last.stored_blocks));
    bytes.resize((bytes.size() + 63) / 64 * 64);
    bytes.insert(bytes.end(), old.begin() + place(first.blocks), old.end());
    return bytes;
}

TEST_F(SyzygyDecoding, wide_value_maps_give_the_same_distances) {
    use_path(data_file("syzygy"));
    for (const TableFile& file : all_tables()) {
        if (file.kind != DTZ_TABLE || (file.name != "KRvKR" && file.name != "KPvKP")) continue;
        const Block narrow_block(file.bytes);
        TableData narrow;
        ASSERT_TRUE(set_up_table(narrow, narrow_block.map, file.material, DTZ_TABLE));
        // One set in two of the pawn table: words follow bytes, and an odd number of them.
        const std::vector<bool> widened =
            narrow.sets.size() == 1 ? std::vector{true} : std::vector{false, true, false, true};
        const Block wide_block(widen_maps(file.bytes, narrow, widened));
        TableData wide;
        ASSERT_TRUE(set_up_table(wide, wide_block.map, file.material, DTZ_TABLE)) << file.name;
        for (std::size_t i = 0; i < wide.sets.size(); ++i) {
            const EncodingSet& set = narrow.sets[i];
            ASSERT_EQ(wide.sets[i].dtz.flags, set.dtz.flags | (widened[i] ? DTZ_WIDE : 0));
            for (std::uint64_t index = 0; index < set.order.positions; index += 997) {
                const int value = stored_value(narrow, set, index);
                ASSERT_EQ(stored_value(wide, wide.sets[i], index), value);
                for (const int wdl : {-2, -1, 1, 2}) {
                    EXPECT_EQ(mapped_dtz(wide, wide.sets[i].dtz, value, wdl), mapped_dtz(narrow, set.dtz, value, wdl));
                }
            }
        }
    }
}
