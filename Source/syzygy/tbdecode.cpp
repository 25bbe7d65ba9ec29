// Layout, checks and decompression of Syzygy files.
#include "syzygy/tbdecode.h"

#include <algorithm>

namespace {

constexpr std::uint32_t MAGICS[3] = {0x5d23e871, 0x88ac504b, 0xa50c66d7};  // by TableKind

constexpr int MAX_SYMBOLS = 4095;
constexpr int LEAF = 0xFFF;
constexpr int MIN_BLOCK_BITS = 3;  // the first eight bytes of a block are read at once

// Index and size tables up to this many bytes are checked entry by entry when a file is set up (all of the
// published tables up to six pieces). Larger ones, of seven pieces, would have to be read from disk as a whole
// in the middle of a search; for them the bounds that every lookup tests have to do.
constexpr std::uint64_t MAX_CHECKED_BYTES = 16u << 20;

std::uint32_t load_u16(const std::uint8_t* p) {
    return static_cast<std::uint32_t>(p[0] | p[1] << 8);
}
std::uint32_t load_u32(const std::uint8_t* p) {
    return load_u16(p) | load_u16(p + 2) << 16;
}

// Big-endian 32 bits; zeros from the end of the file on, which only damaged data ever ask for.
std::uint64_t load_code_bits(const std::uint8_t* p, const std::uint8_t* end) {
    if (end - p < 4) return 0;
    return std::uint64_t{p[0]} << 24 | std::uint64_t{p[1]} << 16 | std::uint64_t{p[2]} << 8 | p[3];
}

// Reads a file front to back. Past its end it delivers zeros and is no longer `sound`.
struct Cursor {
    const std::uint8_t* file;
    std::uint64_t size;
    std::uint64_t at;
    bool sound = true;

    // The next bytes, or nullptr when they are not all there.
    const std::uint8_t* take(std::uint64_t bytes) {
        if (!sound || bytes > size - at) {
            sound = false;
            return nullptr;
        }
        const std::uint8_t* const start = file + at;
        at += bytes;
        return start;
    }
    int byte() {
        const std::uint8_t* const p = take(1);
        return p ? *p : 0;
    }
    std::uint32_t u16() {
        const std::uint8_t* const p = take(2);
        return p ? load_u16(p) : 0;
    }
    std::uint32_t u32() {
        const std::uint8_t* const p = take(4);
        return p ? load_u32(p) : 0;
    }
    void align(std::uint64_t step) { take((step - at % step) % step); }
};

int left_half(const std::uint8_t* symbols, int symbol) {
    const std::uint8_t* const p = symbols + 3 * symbol;
    return p[0] | (p[1] & 15) << 8;
}
int right_half(const std::uint8_t* symbols, int symbol) {
    const std::uint8_t* const p = symbols + 3 * symbol;
    return p[1] >> 4 | p[2] << 4;
}

// ---- Set-up ----

// Piece orders of one file: a byte (two with pawns on both sides) of slots, then a byte a piece. The low nibbles
// are for the first side to move, the high nibbles for the second.
bool read_orders(Cursor& in, EncodingSet* sets, int sides, const Material& material, int file) {
    const int slots = in.byte();
    const int pawn_slots = material.other_pawns > 0 ? in.byte() : NO_SLOT | NO_SLOT << 4;
    const std::uint8_t* const pieces = in.take(material.pieces);
    if (!pieces) return false;
    for (int side = 0; side < sides; ++side) {
        const int shift = 4 * side;
        for (int i = 0; i < material.pieces; ++i) {
            sets[side].order.pieces[i] = static_cast<std::uint8_t>((pieces[i] >> shift) & 15);
        }
        const int lead_slot = (slots >> shift) & 15;
        if (!set_up_order(sets[side].order, material, lead_slot, (pawn_slots >> shift) & 15, file)) return false;
    }
    return true;
}

// Length of a symbol, less one, memoised in `lengths`. A symbol stands for 256 values at most, so nothing sound
// is nested deeper, and a symbol that contains itself is found by its depth.
bool measure_symbol(const std::uint8_t* symbols, std::vector<std::uint8_t>& lengths, std::vector<bool>& measured,
                    int symbol, int depth) {
    if (symbol >= static_cast<int>(lengths.size()) || depth > 255) return false;
    const auto index = static_cast<std::size_t>(symbol);
    if (measured[index]) return true;
    const int right = right_half(symbols, symbol);
    if (right != LEAF) {
        const int left = left_half(symbols, symbol);
        if (!measure_symbol(symbols, lengths, measured, left, depth + 1)) return false;
        if (!measure_symbol(symbols, lengths, measured, right, depth + 1)) return false;
        const int length = lengths[static_cast<std::size_t>(left)] + lengths[static_cast<std::size_t>(right)] + 1;
        if (length > 255) return false;
        lengths[index] = static_cast<std::uint8_t>(length);
    }
    measured[index] = true;
    return true;
}

// The lowest code of each length, from the symbol numbers at which the lengths begin: longer codes are lower
// and have lower symbols. True if every bit pattern then stands for an existing symbol.
bool set_up_codes(PairsData& pairs, int lengths, int symbols) {
    std::uint64_t lowest[PairsData::MAX_CODE_LENGTH];
    lowest[lengths - 1] = 0;
    for (int i = lengths - 2; i >= 0; --i) {
        if (pairs.lowest_symbol[i] < pairs.lowest_symbol[i + 1]) return false;
        const int longer = pairs.lowest_symbol[i] - pairs.lowest_symbol[i + 1];
        lowest[i] = (lowest[i + 1] + static_cast<std::uint64_t>(longer)) / 2;
    }
    for (int i = 0; i < lengths; ++i) {
        const int length = pairs.min_length + i;
        if (lowest[i] >> length != 0) return false;
        pairs.lowest_code[i] = lowest[i] << (64 - length);
    }
    std::uint8_t i = 0;
    for (int first = 255; first >= 0; --first) {
        while (pairs.lowest_code[i] >> 56 > static_cast<unsigned>(first)) ++i;
        pairs.shortest[first] = i;
    }
    const std::uint64_t shortest = (std::uint64_t{1} << pairs.min_length) - lowest[0];
    return pairs.lowest_symbol[0] + shortest <= static_cast<std::uint64_t>(symbols);
}

bool read_pairs_header(Cursor& in, PairsData& pairs, int& flags) {
    flags = in.byte();
    if ((flags & 0x80) != 0) {
        pairs.constant = static_cast<std::int16_t>(in.byte());
        return in.sound;
    }
    pairs.constant = -1;
    pairs.block_bits = static_cast<std::uint8_t>(in.byte());
    pairs.index_bits = static_cast<std::uint8_t>(in.byte());
    const int padding_blocks = in.byte();
    pairs.real_blocks = in.u32();
    pairs.stored_blocks = pairs.real_blocks + static_cast<std::uint32_t>(padding_blocks);
    const int max_length = in.byte();
    pairs.min_length = static_cast<std::uint8_t>(in.byte());
    const int lengths = max_length - pairs.min_length + 1;
    if (!in.sound || pairs.block_bits < MIN_BLOCK_BITS || pairs.block_bits > 31 || pairs.index_bits < 1 ||
        pairs.index_bits > 31 || pairs.real_blocks == 0 || pairs.stored_blocks < pairs.real_blocks ||
        pairs.min_length < 1 || max_length > PairsData::MAX_CODE_LENGTH || lengths < 1) {
        return false;
    }
    for (int i = 0; i < lengths; ++i) pairs.lowest_symbol[i] = static_cast<std::uint16_t>(in.u16());

    const int symbols = static_cast<int>(in.u16());
    if (symbols < 1 || symbols > MAX_SYMBOLS) return false;
    const std::size_t symbol_bytes = 3 * static_cast<std::size_t>(symbols);
    const std::uint8_t* const symbol_area = in.take(symbol_bytes);
    if (!symbol_area) return false;
    pairs.symbols.assign(symbol_area, symbol_area + symbol_bytes);
    in.align(2);

    pairs.symbol_lengths.assign(static_cast<std::size_t>(symbols), 0);
    std::vector<bool> measured(static_cast<std::size_t>(symbols), false);
    for (int symbol = 0; symbol < symbols; ++symbol) {
        if (!measure_symbol(pairs.symbols.data(), pairs.symbol_lengths, measured, symbol, 0)) return false;
    }
    return set_up_codes(pairs, lengths, symbols) && in.sound;
}

// Four lists, each led by its length: bytes, or 16-bit words.
void read_dtz_map(Cursor& in, DtzMap& map) {
    if ((map.flags & DTZ_MAPPED) == 0) return;
    const bool wide = (map.flags & DTZ_WIDE) != 0;
    if (wide) in.align(2);
    for (int i = 0; i < 4; ++i) {
        map.count[i] = static_cast<std::uint16_t>(wide ? in.u16() : static_cast<std::uint32_t>(in.byte()));
        map.start[i] = static_cast<std::uint32_t>(in.at);
        in.take(std::uint64_t{map.count[i]} * (wide ? 2 : 1));
    }
}

std::uint64_t span_count(const EncodingSet& set) {
    return (set.order.positions + (std::uint64_t{1} << set.pairs.index_bits) - 1) >> set.pairs.index_bits;
}

void take_areas(Cursor& in, std::vector<EncodingSet>& sets) {
    const auto each_compressed = [&](auto&& take) {
        for (EncodingSet& set : sets) {
            if (set.pairs.constant < 0) take(set);
        }
    };
    each_compressed([&](EncodingSet& set) { set.pairs.index_table = in.take(6 * span_count(set)); });
    each_compressed(
        [&](EncodingSet& set) { set.pairs.size_table = in.take(2 * std::uint64_t{set.pairs.stored_blocks}); });
    each_compressed([&](EncodingSet& set) {
        in.align(64);
        set.pairs.blocks = in.take(std::uint64_t{set.pairs.real_blocks} << set.pairs.block_bits);
    });
}

// The middle of every span must be where the sizes of the blocks before it say, and the blocks must hold all
// positions: then no walk from a span leaves the blocks.
bool block_numbers_fit(const EncodingSet& set) {
    const PairsData& pairs = set.pairs;
    const std::uint64_t spans = span_count(set);
    if (6 * spans + 2 * std::uint64_t{pairs.stored_blocks} > MAX_CHECKED_BYTES) return true;

    const auto values_of = [&](std::uint32_t block) { return load_u16(pairs.size_table + 2 * std::size_t{block}) + 1; };
    const std::uint64_t half_span = std::uint64_t{1} << (pairs.index_bits - 1);
    std::uint32_t block = 0;
    std::uint64_t block_start = 0;  // index of the block's first value
    std::uint64_t values = 0;       // in the real blocks up to here
    const auto next_block = [&] {
        block_start += values_of(block++);
        if (block <= pairs.real_blocks) values = block_start;
    };
    for (std::uint64_t span = 0; span < spans; ++span) {
        const std::uint8_t* const entry = pairs.index_table + 6 * span;
        const std::uint32_t entry_block = load_u32(entry);
        if (entry_block >= pairs.stored_blocks || entry_block < block) return false;
        while (block < entry_block) next_block();
        if (block_start + load_u16(entry + 4) != (span << pairs.index_bits) + half_span) return false;
    }
    while (block < pairs.real_blocks) next_block();
    return values >= set.order.positions;
}

void set_mark(TableData& table) {
    std::size_t end = table.size;
    while (end > sizeof table.marked && table.file[end - 1] == 0) --end;
    table.mark = table.file + end - sizeof table.marked;
    std::memcpy(&table.marked, table.mark, sizeof table.marked);
}

// ---- Lookup ----

// Finds the block of an index and the place of its value in it. Only damaged tables lead out of the blocks.
bool find_block(const PairsData& pairs, std::uint64_t index, std::uint32_t& block, int& place) {
    const std::uint64_t span = index >> pairs.index_bits;
    const std::uint8_t* const entry = pairs.index_table + 6 * span;
    const std::uint64_t span_mask = (std::uint64_t{1} << pairs.index_bits) - 1;
    block = load_u32(entry);
    std::int64_t offset = static_cast<std::int64_t>(load_u16(entry + 4)) +
                          static_cast<std::int64_t>(index & span_mask) - (std::int64_t{1} << (pairs.index_bits - 1));
    if (block >= pairs.stored_blocks) return false;
    const auto last_place = [&] {
        return static_cast<std::int64_t>(load_u16(pairs.size_table + 2 * std::size_t{block}));
    };
    while (offset < 0) {
        if (block == 0) return false;
        --block;
        offset += last_place() + 1;
    }
    while (offset > last_place()) {
        offset -= last_place() + 1;
        if (++block >= pairs.stored_blocks) return false;
    }
    place = static_cast<int>(offset);
    return block < pairs.real_blocks;
}

// Reads the block's codes up to the symbol that contains the place, which becomes relative to that symbol.
int find_symbol(const PairsData& pairs, const std::uint8_t* bits, const std::uint8_t* end, int& place) {
    std::uint64_t code = load_code_bits(bits, end) << 32 | load_code_bits(bits + 4, end);
    bits += 8;
    int used = 0;  // bits of the lower half of `code` that are not filled
    for (;;) {
        int i = pairs.shortest[code >> 56];
        while (code < pairs.lowest_code[i]) ++i;
        const int length = pairs.min_length + i;
        const int symbol = pairs.lowest_symbol[i] + static_cast<int>((code - pairs.lowest_code[i]) >> (64 - length));
        const int values = pairs.symbol_lengths[static_cast<std::size_t>(symbol)] + 1;
        if (place < values) return symbol;
        place -= values;
        code <<= length;
        used += length;
        if (used >= 32) {
            used -= 32;
            code |= load_code_bits(bits, end) << used;
            if (end - bits >= 4) bits += 4;
        }
    }
}

// Follows the pairs down to the leaf at the place.
int expand_symbol(const PairsData& pairs, int symbol, int place) {
    while (pairs.symbol_lengths[static_cast<std::size_t>(symbol)] != 0) {
        const int left = left_half(pairs.symbols.data(), symbol);
        const int left_values = pairs.symbol_lengths[static_cast<std::size_t>(left)] + 1;
        if (place < left_values) {
            symbol = left;
        } else {
            place -= left_values;
            symbol = right_half(pairs.symbols.data(), symbol);
        }
    }
    return left_half(pairs.symbols.data(), symbol);
}

}  // namespace

bool set_up_table(TableData& table, const FileMap& map, const Material& material, TableKind kind) {
    table.file = map.data;
    table.size = map.size;
    Cursor in{map.data, map.size, 0};
    if (in.u32() != MAGICS[kind] || !in.sound) return false;

    const int layout = in.byte();  // bit 0: a set for each side to move, bit 1: has pawns
    if (((layout & 2) != 0) != material.has_pawns) return false;
    table.sides = kind == WDL_TABLE && (layout & 1) != 0 ? 2 : 1;
    if (kind == WDL_TABLE && table.sides == 1 && !material.symmetric) return false;
    const int files = material.has_pawns ? 4 : 1;
    table.sets.resize(static_cast<std::size_t>(files) * static_cast<std::size_t>(table.sides));

    for (int file = 0; file < files; ++file) {
        EncodingSet* const sets = table.sets.data() + file * table.sides;
        if (!read_orders(in, sets, table.sides, material, file)) return false;
    }
    in.align(2);
    for (EncodingSet& set : table.sets) {
        int flags;
        if (!read_pairs_header(in, set.pairs, flags)) return false;
        set.dtz.flags = static_cast<std::uint8_t>(flags);
    }
    if (kind == DTZ_TABLE) {
        for (EncodingSet& set : table.sets) read_dtz_map(in, set.dtz);
        in.align(2);
    }
    take_areas(in, table.sets);
    set_mark(table);
    return in.sound && std::all_of(table.sets.begin(), table.sets.end(), [](const EncodingSet& set) {
               return set.pairs.constant >= 0 || block_numbers_fit(set);
           });
}

int stored_value(const TableData& table, const EncodingSet& set, std::uint64_t index) {
    const PairsData& pairs = set.pairs;
    if (pairs.constant >= 0) return pairs.constant;
    if (index >= set.order.positions) return -1;
    std::uint32_t block;
    int place;
    if (!find_block(pairs, index, block, place)) return -1;
    const std::uint8_t* const bits = pairs.blocks + (std::uint64_t{block} << pairs.block_bits);
    const int symbol = find_symbol(pairs, bits, table.file + table.size, place);
    return expand_symbol(pairs, symbol, place);
}

int mapped_dtz(const TableData& table, const DtzMap& map, int stored, int wdl) {
    // By wdl + 2: the value class, and the flag that says its values count plies instead of moves.
    constexpr int CLASSES[5] = {1, 3, 0, 2, 0};
    constexpr int PLY_FLAGS[5] = {DTZ_LOSS_PLIES, 0, 0, 0, DTZ_WIN_PLIES};
    int value = stored;
    if ((map.flags & DTZ_MAPPED) != 0) {
        const int value_class = CLASSES[wdl + 2];
        if (stored >= map.count[value_class]) return -1;
        const std::uint8_t* const values = table.file + map.start[value_class];
        value = (map.flags & DTZ_WIDE) != 0 ? static_cast<int>(load_u16(values + 2 * stored)) : values[stored];
    }
    return (map.flags & PLY_FLAGS[wdl + 2]) != 0 ? value : 2 * value;
}
