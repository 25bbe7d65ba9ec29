// Discovery and mapping of tablebase files.
#include "syzygy/tbfiles.h"

#include "frontend/base/output.h"
#include "frontend/base/program_end.h"
#include "frontend/base/settings.h"
#include "platform/file_ops.h"
#include "platform/map_guard.h"
#include "platform/words.h"
#include "syzygy/tbprobe.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <vector>

int tb_largest = 0;

namespace {

constexpr const char* EXTENSIONS[3] = {".rtbw", ".rtbm", ".rtbz"};  // by TableKind

// Material combinations of 3 to 7 pieces: 650 without and 861 with pawns.
constexpr int MAX_TABLES = 650 + 861;

constexpr int SLOT_BITS = 12;
constexpr std::size_t SLOTS = std::size_t{1} << SLOT_BITS;

// Key constants by [first, second side][type]; kings do not count.
constexpr std::uint64_t MATERIAL_KEYS[2][7] = {
    {0, 0xec0ade190c0f6003, 0xd2fb81862830191f, 0xaadc1a2be446234d, 0x985deb9fc49333f9, 0xa3ec1abc71e90863, 0},
    {0, 0xa24f0f571bb202e7, 0xbaeb854cd3259441, 0xd5a4c95928f2fbe3, 0xfd7866b439b94495, 0xd6e4e47d24962951, 0}};

struct Slot {
    std::uint64_t key;
    TableEntry* entry;  // nullptr: empty
};

struct Registry {
    std::vector<std::string> directories;
    std::unique_ptr<TableEntry[]> entries;  // allocated once
    int entry_count = 0;
    Slot slots[SLOTS] = {};  // open addressing from the top bits of the key
    int files[3] = {};       // found, by TableKind
    std::mutex mapping;      // held while a file is mapped for the first time
};
Registry registry;

std::uint64_t name_key(const Material& material, int first_side) {
    std::uint64_t key = 0;
    for (int side = 0; side < 2; ++side) {
        for (int type = PAWN; type <= QUEEN; ++type) {
            key += material.counts[side][type] * MATERIAL_KEYS[side ^ first_side][type];
        }
    }
    return key;
}

// ---- Files ----

// Path and size of the file in the first directory that has it; size -1 when none has.
std::int64_t find_file(const std::string& name, TableKind kind, std::string& path) {
    for (const std::string& directory : registry.directories) {
        path.assign(directory).append(1, DIRECTORY_SEPARATOR).append(name).append(EXTENSIONS[kind]);
        const std::int64_t size = file_size(path.c_str());
        if (size >= 0) return size;
    }
    return -1;
}

// Data areas are multiples of 64 bytes; a checksum of 16 bytes ends the file.
bool valid_size(std::int64_t size) {
    return size % 64 == 16;
}

// True if a complete file exists. An incomplete one is reported.
bool has_file(const std::string& name, TableKind kind) {
    std::string path;
    const std::int64_t size = find_file(name, kind, path);
    if (size < 0) return false;
    if (valid_size(size)) return true;
    std::fprintf(stderr, "Incomplete tablebase file %s%s\n", name.c_str(), EXTENSIONS[kind]);
    print_format("info string Incomplete tablebase file %s%s", name.c_str(), EXTENSIONS[kind]);
    return false;
}

void let_go(FileMap& map) {
    release_guard(map);
    const UnmapErrors errors = unmap_file(map);
    if (errors.view != 0) std::fprintf(stderr, "unmap failed, error code %lu\n", errors.view);
    if (errors.handle != 0) std::fprintf(stderr, "CloseHandle failed, error code %lu\n", errors.handle);
}

// ---- Registration ----

Material material_of(const std::string& name) {
    Material material{};
    int side = 0;
    for (const char letter : name) {
        if (letter == 'v') {
            side = 1;
        } else {
            ++material.counts[side][std::strchr(PIECE_LETTERS, letter) - PIECE_LETTERS];
            ++material.pieces;
        }
    }
    material.symmetric = name_key(material, 0) == name_key(material, 1);

    const int pawns = material.counts[0][PAWN];
    const int second_pawns = material.counts[1][PAWN];
    material.has_pawns = pawns + second_pawns > 0;
    material.leading_side = second_pawns > 0 && (pawns == 0 || pawns > second_pawns) ? 1 : 0;
    material.leading_pawns = material.counts[material.leading_side][PAWN];
    material.other_pawns = material.counts[material.leading_side ^ 1][PAWN];

    int singles = 0;
    for (const auto& side_counts : material.counts) {
        singles += static_cast<int>(std::count(std::begin(side_counts), std::end(side_counts), 1));
    }
    material.only_kings_single = singles == 2;
    return material;
}

void insert_key(std::uint64_t key, TableEntry* entry) {
    std::size_t slot = key >> (64 - SLOT_BITS);
    while (registry.slots[slot].entry) slot = (slot + 1) % SLOTS;
    registry.slots[slot] = {key, entry};
}

void register_table(const std::string& name) {
    if (!has_file(name, WDL_TABLE)) return;
    TableEntry& entry = registry.entries[static_cast<std::size_t>(registry.entry_count++)];
    entry.name = name;
    entry.material = material_of(name);
    entry.key = name_key(entry.material, 0);
    entry.has_dtm = has_file(name, DTM_TABLE);
    entry.has_dtz = has_file(name, DTZ_TABLE);
    ++registry.files[WDL_TABLE];
    registry.files[DTM_TABLE] += entry.has_dtm;
    registry.files[DTZ_TABLE] += entry.has_dtz;
    tb_largest = std::max<int>(tb_largest, entry.material.pieces);

    insert_key(entry.key, &entry);
    if (!entry.material.symmetric) insert_key(name_key(entry.material, 1), &entry);
}

// Every set of `count` pieces besides the king as letters from queen down to pawn, strongest set first.
std::vector<std::string> piece_sets(int count) {
    std::vector<std::string> sets{""};
    for (; count > 0; --count) {
        std::vector<std::string> longer;
        for (const std::string& set : sets) {
            for (const char letter : {'Q', 'R', 'B', 'N', 'P'}) {
                const auto strength = [](char c) { return std::strchr(PIECE_LETTERS, c); };
                if (set.empty() || strength(letter) <= strength(set.back())) longer.push_back(set + letter);
            }
        }
        sets = std::move(longer);
    }
    return sets;
}

// All published names. With equal numbers of pieces the second side never has the stronger set.
void register_all_names() {
    struct Pattern {
        int first, second;
    };
    constexpr Pattern PATTERNS[] = {{1, 0}, {1, 1}, {2, 0}, {2, 1}, {3, 0}, {2, 2},
                                    {3, 1}, {4, 0}, {5, 0}, {4, 1}, {3, 2}};
    for (const Pattern pattern : PATTERNS) {
        const std::vector<std::string> first_sets = piece_sets(pattern.first);
        const std::vector<std::string> second_sets = piece_sets(pattern.second);
        for (std::size_t first = 0; first < first_sets.size(); ++first) {
            for (std::size_t second = pattern.first == pattern.second ? first : 0; second < second_sets.size();
                 ++second) {
                register_table("K" + first_sets[first] + "vK" + second_sets[second]);
            }
        }
    }
}

void forget_tables() {
    for (int i = 0; i < registry.entry_count; ++i) {
        TableEntry& entry = registry.entries[static_cast<std::size_t>(i)];
        for (int kind = WDL_TABLE; kind <= DTZ_TABLE; ++kind) {
            entry.ready[kind] = false;
            entry.data[kind].reset();
            let_go(entry.maps[kind]);
        }
        entry.rejected = false;
    }
    registry.entry_count = 0;
    registry.directories.clear();
    std::fill(std::begin(registry.slots), std::end(registry.slots), Slot{});
    std::fill(std::begin(registry.files), std::end(registry.files), 0);
    tb_largest = 0;
}

// ---- First use ----

// A file that is there and cannot be mapped ends the program.
void report_unmapped(const MapError& error, const std::string& name, TableKind kind) {
    const char* const call = error.step == MapError::VIEWING ? "MapViewOfFile" : "CreateFileMapping";
    std::fprintf(stderr, "%s() failed, error = %lu.\n", call, error.code);
    std::fprintf(stderr, "Could not map %s%s into memory.\n", name.c_str(), EXTENSIONS[kind]);
    end_program(EXIT_FAILURE);
}

// Maps the file and reads its layout. False when it is gone (silently) or damaged.
bool load_table(TableEntry& entry, TableKind kind) {
    std::string path;
    const std::int64_t size = find_file(entry.name, kind, path);
    if (size < 0) return false;
    if (valid_size(size)) {  // may have changed since it was found
        FileMap& map = entry.maps[kind];
        MapError error;
        if (!map_file(path.c_str(), map, error)) {
            if (error.step != MapError::OPENING) report_unmapped(error, entry.name, kind);
            return false;
        }
        guard_map(map);
        auto data = std::make_unique<TableData>();
        if (read_layout(*data, map, path, entry.material, kind)) {
            entry.data[kind] = std::move(data);
            return true;
        }
    }
    std::fputs("Corrupted table.\n", stderr);
    let_go(entry.maps[kind]);
    return false;
}

}  // namespace

void tb_init() {
    forget_tables();
    std::string_view path = settings.syzygy_path;
    if (path.empty() || path == "<empty>") return;
    for (std::string_view directory; !(directory = next_word(path, PATH_SEPARATORS)).empty();) {
        registry.directories.emplace_back(directory);
    }
    if (!registry.entries) {
        registry.entries.reset(new (std::nothrow) TableEntry[MAX_TABLES]);
        if (!registry.entries) {
            std::fputs("Out of memory.\n", stderr);
            end_program(EXIT_FAILURE);
            return;
        }
    }
    register_all_names();
    print_format("info string Found %d WDL, %d DTM and %d DTZ tablebase files. Largest %d-men",
                 registry.files[WDL_TABLE], registry.files[DTM_TABLE], registry.files[DTZ_TABLE], tb_largest);
}

std::uint64_t material_key(const ProbePosition& position, int first_colour) {
    std::uint64_t key = 0;
    for (int side = 0; side < 2; ++side) {
        const Bitboard pieces = position.colours[side ^ first_colour];
        for (int type = PAWN; type <= QUEEN; ++type) {
            key += static_cast<std::uint64_t>(popcount(pieces & position.types[type])) * MATERIAL_KEYS[side][type];
        }
    }
    return key;
}

TableEntry* find_table(std::uint64_t key) {
    std::size_t slot = key >> (64 - SLOT_BITS);
    for (; registry.slots[slot].entry; slot = (slot + 1) % SLOTS) {
        if (registry.slots[slot].key != key) continue;
        TableEntry* const entry = registry.slots[slot].entry;
        return entry->rejected.load(std::memory_order_relaxed) ? nullptr : entry;
    }
    return nullptr;
}

const TableData* table_data(TableEntry& entry, TableKind kind) {
    if (!entry.ready[kind].load(std::memory_order_acquire)) {
        const std::lock_guard<std::mutex> lock(registry.mapping);
        if (entry.rejected) return nullptr;
        if (!entry.ready[kind]) {
            if (!load_table(entry, kind)) {
                entry.rejected = true;
                return nullptr;
            }
            entry.ready[kind].store(true, std::memory_order_release);
        }
    }
    return entry.data[kind].get();
}

bool read_layout(TableData& data, const FileMap& map, const std::string& path, const Material& material,
                 TableKind kind) {
    // The size is asked for last: a file that has it now had all its bytes while they were read.
    return set_up_table(data, map, material, kind) && file_size(path.c_str()) == static_cast<std::int64_t>(map.size);
}

void give_up_table(TableEntry& entry, TableKind kind) {
    if (entry.rejected.exchange(true)) return;
    std::fprintf(stderr, "Tablebase file %s%s was truncated and is no longer used.\n", entry.name.c_str(),
                 EXTENSIONS[kind]);
}
