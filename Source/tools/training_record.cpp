// Packing and unpacking of training records, and the scale between scores and results.
#include "tools/training_record.h"

#include "position/board_edit.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

static_assert(std::endian::native == std::endian::little, "records are read and written as they lie in memory");

namespace {

// Bit c is set for the nibbles that can stand for a square: empty and the piece codes.
constexpr unsigned VALID_NIBBLES = 0b0111'1110'0111'1111;

bool is_well_formed(const TrainingRecord& record) {
    unsigned valid = 1;
    for (const std::uint8_t squares : record.board)
        valid &= VALID_NIBBLES >> (squares & 15) & VALID_NIBBLES >> (squares >> 4);
    return valid && record.side_castling >> 4 <= BLACK && record.ep_square <= NO_SQUARE;
}

}  // namespace

float win_probability(int score) {
    const float exponent = static_cast<float>(score) * -0.006f;
    return static_cast<float>(1.0 / (1.0 + std::exp(static_cast<double>(exponent))));
}

int result_to_score(double g) {
    constexpr float LEAST = 0.000001f;
    constexpr float MOST = 0.999999f;
    constexpr double CENTIPAWNS = 166.66667;                                                          // 1 / 0.006
    const double d = std::fmin(std::fmax(g, static_cast<double>(LEAST)), static_cast<double>(MOST));  // NaN: LEAST
    return std::clamp(static_cast<int>(-CENTIPAWNS * std::log(1.0 / d - 1.0)), -MAX_RECORD_SCORE, MAX_RECORD_SCORE);
}

float training_target(const TrainingRecord& record, double result_share) {
    return static_cast<float>(result_share * static_cast<double>(win_probability(record.result)) +
                              (1 - result_share) * static_cast<double>(win_probability(record.sc)));
}

TrainingRecord make_training_record(const Position& position, int result_score, int ce, int sc) {
    using Score = std::numeric_limits<std::int16_t>;
    TrainingRecord record{};
    for (int i = 0; i < 32; ++i) {
        record.board[i] = static_cast<std::uint8_t>(position.board[2 * i] | position.board[2 * i + 1] << 4);
    }
    record.side_castling = static_cast<std::uint8_t>(position.side << 4 | (position.castling & 15));
    record.ep_square = position.ep_square;
    record.result = static_cast<std::int16_t>(std::clamp(result_score, -MAX_RECORD_SCORE, MAX_RECORD_SCORE));
    record.ce = static_cast<std::int16_t>(std::clamp<int>(ce, Score::min(), Score::max()));
    record.sc = static_cast<std::int16_t>(std::clamp(sc, -MAX_RECORD_SCORE, MAX_RECORD_SCORE));
    return record;
}

bool record_to_position(const TrainingRecord& record, Position& position) {
    clear_position(position);
    if (!is_well_formed(record)) return false;
    for (int square = A1; square <= H8; square += 2) {
        const int both = record.board[square / 2];
        if (both & 15) place(position, both & 15, square);
        if (both >> 4) place(position, both >> 4, square + 1);
    }
    if (position.king_square[WHITE] == NO_SQUARE || position.king_square[BLACK] == NO_SQUARE) return false;

    position.side = record.side_castling >> 4;
    char rights[5] = "";
    int count = 0;
    for (int right = 0; right < 4; ++right) {
        if (record.side_castling & (1 << right)) rights[count++] = "KQkq"[right];
    }
    parse_castling(position, {rights, static_cast<std::size_t>(count)});
    position.ep_square = record.ep_square;
    return true;
}
