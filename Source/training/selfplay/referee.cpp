// The rules that end games.
#include "training/selfplay/referee.h"

#include "position/make_move.h"
#include "position/movegen.h"
#include "syzygy/tbprobe.h"

#include <cstdlib>

namespace {

// A lead of two queens and more, or a mate, that both sides have seen three times each: no defence is left.
constexpr int WIN_SCORE = 2000;  // centipawns
constexpr int WIN_PLIES = 6;

// Deep in the game, hardly anything left, and both sides have seen nothing at all for eight moves.
constexpr int DRAW_SCORE = 8;
constexpr int DRAW_PLIES = 16;
constexpr int DRAW_FIRST_PLY = 100;
constexpr int DRAW_MEN = 10;

constexpr int FIFTY_MOVES_PLIES = 100;

bool has_legal_moves(Position& position) {
    for (const MoveEntry* entry = gen_all(position); entry->move != END_OF_LIST; ++entry) {
        if (is_legal(position, position.side, entry->move)) return true;
    }
    return false;
}

int minors(const Position& position, int colour) {
    return count_of(position, colour, KNIGHT) + count_of(position, colour, BISHOP);
}

// The material that the evaluation scores as a dead draw: at most a minor piece each, or two knights against a king.
bool is_dead_material(const Position& position) {
    constexpr std::uint32_t TWO_KNIGHTS = 2 * PIECE_UNIT[KNIGHT];
    for (const int colour : {WHITE, BLACK}) {
        if (count_of(position, colour, PAWN) || count_of(position, colour, ROOK) || count_of(position, colour, QUEEN)) {
            return false;
        }
    }
    if (minors(position, WHITE) <= 1 && minors(position, BLACK) <= 1) return true;
    return position.piece_counts[WHITE] + position.piece_counts[BLACK] == TWO_KNIGHTS &&
           (position.piece_counts[WHITE] == 0 || position.piece_counts[BLACK] == 0);
}

// A draw is a draw whatever the half-move clock says; a win is certain only while the clock stands at zero.
std::optional<Verdict> judge_by_tables(const Position& position, int tables) {
    if (tables == 0 || position.castling != 0 || popcount(occupancy(position)) > tables) return {};
    const int result = tb_probe_position(position);
    const int mover = position.side == WHITE ? 1 : -1;
    if (result >= 1 && result <= 3) return Verdict{TABLEBASE, 0};
    if (position.rule50 != 0) return {};
    if (result == 4) return Verdict{TABLEBASE, mover};
    if (result == 0) return Verdict{TABLEBASE, -mover};
    return {};
}

}  // namespace

std::optional<Verdict> judge_position(Position& position, int plies, int tables) {
    const int side = position.side;
    if (!has_legal_moves(position)) {
        if (!is_attacked(position, position.king_square[side], side ^ 1)) return Verdict{STALEMATE, 0};
        return Verdict{CHECKMATE, side == WHITE ? -1 : 1};
    }
    if (is_draw(position, 0)) return Verdict{position.rule50 >= FIFTY_MOVES_PLIES ? FIFTY_MOVES : REPETITION, 0};
    if (is_dead_material(position)) return Verdict{DEAD_MATERIAL, 0};
    if (const auto verdict = judge_by_tables(position, tables)) return verdict;
    if (plies >= MAX_GAME_PLIES) return Verdict{TOO_LONG, 0};
    return {};
}

std::optional<Verdict> ScoreJudge::judge(int side, int score, int plies, int men) {
    const int winner = std::abs(score) < WIN_SCORE ? 0 : (score > 0) == (side == WHITE) ? 1 : -1;
    winning_plies_ = winner == 0 ? 0 : winner == winner_ ? winning_plies_ + 1 : 1;
    winner_ = winner;
    const bool level = std::abs(score) <= DRAW_SCORE && plies >= DRAW_FIRST_PLY && men <= DRAW_MEN;
    level_plies_ = level ? level_plies_ + 1 : 0;
    if (wins_ && winning_plies_ >= WIN_PLIES) return Verdict{WIN_ADJUDICATED, winner};
    if (draws_ && level_plies_ >= DRAW_PLIES) return Verdict{DRAW_ADJUDICATED, 0};
    return {};
}
