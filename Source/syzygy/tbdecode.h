// One mapped Syzygy file: its checked layout and the values stored in it.
#pragma once

#include "platform/file_map.h"
#include "syzygy/tbindex.h"

#include <cstddef>
#include <cstdint>
#include <vector>

enum TableKind : int { WDL_TABLE = 0, DTM_TABLE = 1, DTZ_TABLE = 2 };

// A sequence of values, compressed by recursive pairing and canonical prefix codes. All references lie inside
// the mapped file.
struct PairsData {
    static constexpr int MAX_CODE_LENGTH = 32;

    const std::uint8_t* symbols;      // 3 bytes each: two 12-bit halves; right half 0xFFF: leaf with a value
    const std::uint8_t* index_table;  // 6 bytes a span of values: block number, place of the span's middle in it
    const std::uint8_t* size_table;   // 2 bytes a block: number of values less one
    const std::uint8_t* blocks;
    std::vector<std::uint8_t> symbol_lengths;      // values that a symbol expands to, less one
    std::uint64_t lowest_code[MAX_CODE_LENGTH];    // by length from min_length, left-aligned in 64 bits
    std::uint16_t lowest_symbol[MAX_CODE_LENGTH];  // the symbol of that code
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
};

// Reads and checks the layout of a mapped file. False when it is not a sound table of that material and kind;
// no value read later can then lie outside the file.
bool set_up_table(TableData& table, const FileMap& map, const Material& material, TableKind kind);

// The value stored for an index, or -1 if the data are damaged there.
int stored_value(const TableData& table, const EncodingSet& set, std::uint64_t index);

// The DTZ value behind a stored one, in plies, for a position of that WDL value (not 0), or -1.
int mapped_dtz(const TableData& table, const DtzMap& map, int stored, int wdl);
