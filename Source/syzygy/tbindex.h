// Position indexing of the Syzygy format: how the squares of the pieces become one number. What the number
// then means is decided in tbdecode.h.
#pragma once

#include "syzygy/tbchess.h"

#include <cstdint>

constexpr int TB_MAX_PIECES = 7;

// What is known of a table from its name. "First" is the side that the name lists first.
struct Material {
    std::uint8_t counts[2][7];  // [first, second][type], kings included
    std::uint8_t pieces;        // all, kings included
    bool symmetric;             // both sides have the same material
    bool has_pawns;
    bool only_kings_single;     // without pawns: every kind but the kings occurs twice or more
    std::uint8_t leading_side;  // with pawns: the side whose pawns are indexed first
    std::uint8_t leading_pawns;
    std::uint8_t other_pawns;  // pawns of the other side
};

// Squares that are ranked together: the leading group (pawns of the leading side; else both kings or three
// single pieces), then the other side's pawns, then each remaining kind of piece.
struct PieceGroup {
    std::uint8_t first;  // place of its first piece in the piece order
    std::uint8_t size;
    std::uint64_t factor;  // of its rank in the index
};

// One table's own piece order and mixed radix.
struct PieceOrder {
    std::uint8_t pieces[TB_MAX_PIECES];  // first side 1-6, second side 9-14
    std::uint8_t count;
    std::uint8_t group_count;
    PieceGroup groups[TB_MAX_PIECES];
    std::uint64_t positions;  // number of indices
};

constexpr int NO_SLOT = 15;

// Completes `order` whose pieces are set: finds the groups and their factors. `lead_slot` and `pawn_slot` are
// the places of the leading group and of the other side's pawns (else NO_SLOT) in the radix, `file` 0-3 the file
// of the leading pawn. False when the order does not fit the material.
bool set_up_order(PieceOrder& order, const Material& material, int lead_slot, int pawn_slot, int file);

// Swaps the leading pawn to the front of the leading pawns; returns its file, 0-3 after mirroring.
int take_leading_pawn(int* squares, int pawns);

// Index of the squares, which are in piece order and are rearranged. The result is below order.positions unless
// the kings are adjacent.
std::uint64_t position_index(const PieceOrder& order, const Material& material, int* squares);
