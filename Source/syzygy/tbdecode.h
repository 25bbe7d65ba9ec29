// One mapped Syzygy file: its checked layout and the values stored in it.
#pragma once

#include "platform/file_map.h"
#include "syzygy/tbindex.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

enum TableKind : int { WDL_TABLE = 0, DTM_TABLE = 1, DTZ_TABLE = 2 };

// A sequence of values, compressed by recursive pairing and canonical prefix codes. All references lie inside
// the mapped file. Another program may change the file at any time: what is read there may be any number, and what
// steers the decoding was checked and copied.
struct PairsData {
    static constexpr int MAX_CODE_LENGTH = 32;

    const std::uint8_t* index_table;  // 6 bytes a span of values: block number, place of the span's middle in it
    const std::uint8_t* size_table;   // 2 bytes a block: number of values less one
    const std::uint8_t* blocks;
    std::vector<std::uint8_t> symbols;           // 3 bytes each: two 12-bit halves; right half 0xFFF: leaf with a value
    std::vector<std::uint8_t> symbol_lengths;    // values that a symbol expands to, less one
    std::uint64_t lowest_code[MAX_CODE_LENGTH];  // by length from min_length, left-aligned in 64 bits
    std::uint16_t lowest_symbol[MAX_CODE_LENGTH];  // the symbol of that code
    std::uint8_t shortest[256];  // by a code's first eight bits: the shortest length that it can have, from min_length
    std::uint32_t real_blocks;
    std::uint32_t stored_blocks;  // entries of the size table
    std::uint8_t block_bits;      // log2 of a block's bytes
    std::uint8_t index_bits;      // log2 of a span
    std::uint8_t min_length;
    std::int16_t constant;  // the value of every position, or -1 and the fields above are set
};

// Bits of DtzMap::flags.
enum : int { DTZ_BLACK_TO_MOVE = 1, DTZ_MAPPED = 2, DTZ_WIN_PLIES = 4, DTZ_LOSS_PLIES = 8, DTZ_WIDE = 16 };

struct DtzMap {
    std::uint8_t flags;
    std::uint32_t start[4];  // offset in the file of each class's values: win, loss, cursed win, blessed loss
    std::uint16_t count[4];
};

struct EncodingSet {
    PieceOrder order;
    PairsData pairs;
    DtzMap dtz;  // DTZ files only
};

// A set per side to move (WDL; one for symmetric material, one in DTZ files), for each leading pawn file a-d.
struct TableData {
    std::vector<EncodingSet> sets;  // [file * sides + side]
    int sides = 1;
    const std::uint8_t* file = nullptr;
    std::size_t size = 0;
    const std::uint8_t* mark = nullptr;  // eight bytes up to the last one in the file that is not 0
    std::uint64_t marked = 0;            // what stood there at set-up
};

// Reads and checks the layout of a mapped file, which is guarded or cannot be truncated. False when it is not a sound
// table of that material and kind. After true, no value is looked for outside the file, whatever becomes of it.
bool set_up_table(TableData& table, const FileMap& map, const Material& material, TableKind kind);

// True if the file still has all that was read from it before. Its end goes first when it is truncated: the mark then
// reads as zeros, as the rest of its page or as the pages of a guard do.
inline bool is_whole(const TableData& table) {
    std::atomic_signal_fence(std::memory_order_seq_cst);  // the mark is read last
    std::uint64_t now;
    std::memcpy(&now, table.mark, sizeof now);
    return now == table.marked;
}

// The value stored for an index, or -1 if the data are damaged there.
int stored_value(const TableData& table, const EncodingSet& set, std::uint64_t index);

// The DTZ value behind a stored one, in plies, for a position of that WDL value (not 0), or -1.
int mapped_dtz(const TableData& table, const DtzMap& map, int stored, int wdl);
