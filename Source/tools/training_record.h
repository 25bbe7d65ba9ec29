// The 40-byte training record: one position with its search score and the result of its game. Every tool that
// makes, converts or learns from training data shares this header.
#pragma once

#include "position/position.h"

#include <cstdint>
#include <string_view>

// Little-endian; a training file is a plain sequence of records.
struct TrainingRecord {
    std::uint8_t board[32];      // square 2i in the low four bits of byte i, 2i + 1 in the high four; piece codes
    std::uint8_t side_castling;  // side to move in the high four bits, rights 1 K, 2 Q, 4 k, 8 q in the low four
    std::uint8_t ep_square;      // en-passant target, NO_SQUARE for none
    std::int16_t result;         // game result for the side to move as a score, see result_to_score
    std::int16_t ce;             // score that came with the source line, centipawns for the side to move
    std::int16_t sc;             // search score, centipawns for the side to move, within MAX_RECORD_SCORE
};
static_assert(sizeof(TrainingRecord) == 40);

// The record as it stands in a file.
inline std::string_view bytes_of(const TrainingRecord& record) {
    return {reinterpret_cast<const char*>(&record), sizeof record};
}

constexpr int MAX_RECORD_SCORE = 3000;

// Share of the game's result in the training target, unless asked for another; the search score has the rest.
constexpr double TARGET_RESULT_SHARE = 0.35;

// Expected result of a score in centipawns: logistic, 1 / (1 + e^(-0.006 * score)).
float win_probability(int score);

// The inverse of win_probability: the score whose expected result is g (0 loss .. 1 win), truncated. The ends
// stay finite: 1.0 gives 2300 and 0.0 gives -2302, the single-precision bounds not being symmetric. What is no
// number counts as 0.
int result_to_score(double g);

// What a network is trained towards, 0..1 for the side to move: a mix of game result and search score. The
// result field of a position without a game holds a score too.
float training_target(const TrainingRecord& record, double result_share = TARGET_RESULT_SHARE);

// The position with its labels; sc is clamped to MAX_RECORD_SCORE, ce to 16 bits.
TrainingRecord make_training_record(const Position& position, int result_score, int ce, int sc);

// Sets the position from a record; its owner's game stack is emptied and the hash keys are not computed.
// Castling rights that the placement does not allow are dropped. False for a damaged record or a board without
// both kings.
bool record_to_position(const TrainingRecord& record, Position& position);
