// King and pawn against king: a table of all positions, computed at start-up by retrograde iteration.
#pragma once

#include <cstdint>

constexpr int KPK_ENTRIES = 262144;
constexpr std::uint8_t KPK_WIN = 2;

// Index: see kpk_index. 2 means that the side with the pawn wins.
extern std::uint8_t kpk_table[KPK_ENTRIES];

// Index for a pawn moving up the board on files a-d (square), mover 0 when the pawn's side is to move.
constexpr int kpk_index(int pawn, int mover, int strong_king, int weak_king) {
    return ((pawn >> 3) * 4 + (pawn & 7)) * 4096 + mover * 131072 + strong_king * 64 + weak_king;
}

// Fills kpk_table; needs the attack tables.
void build_kpk_table();
