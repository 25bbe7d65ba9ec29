// Polyglot opening books: lookup and choice.
#pragma once

#include "position/position.h"

#include <cstdint>

// A record of a book. In the file it takes 16 bytes, every field big-endian, in this order; records are sorted
// by key.
struct BookEntry {
    std::uint64_t key;
    std::uint16_t move;    // destination in bits 0-5, origin in 6-11, promotion in 12-14 (1 knight ... 4 queen)
    std::uint16_t weight;  // share of the choice; 0: never played
    std::uint32_t learn;   // not used
};

constexpr int BOOK_RECORD_SIZE = 16;
constexpr int MAX_BOOK_ENTRIES = 127;  // records considered for one position; any further ones are ignored

// A legal book move for the position from the named file, or 0; prints what it finds. The choice is random in
// proportion to the weights, flattened or sharpened by settings.book_variety. Overwrites the owner's move list
// of the current ply. Main thread only.
Move book_probe(Position& position, const char* file);
