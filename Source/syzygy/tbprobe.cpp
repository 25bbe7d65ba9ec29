// From stored values to answers about positions: captures and en passant resolved by search, distances to zeroing,
// and the choice of a root move.
#include "syzygy/tbprobe.h"

#include "position/make_move.h"
#include "syzygy/tbfiles.h"

#include <algorithm>
#include <limits>

namespace {

constexpr Bitboard LAST_RANKS = 0xFF000000000000FFULL;
constexpr int FIFTY_MOVE_PLIES = 100;

// Distance to zeroing of a position whose best move zeroes.
int zeroing_dtz(int wdl) {
    switch (wdl) {
        case -2: return -1;
        case -1: return -101;
        case 1: return 101;
        case 2: return 1;
        default: return 0;
    }
}

int fail(int& success, int how = PROBE_FAILED) {
    success = how;
    return 0;
}

// Squares of the pieces of one code, as the table sees the board.
int collect_squares(const ProbePosition& position, int code, bool flipped, int* squares) {
    const int colour = colour_of(code) ^ (flipped ? 1 : 0);
    Bitboard pieces = position.colours[colour] & position.types[type_of(code)];
    int count = 0;
    while (pieces != 0) squares[count++] = pop_lsb(pieces) ^ (flipped ? 56 : 0);
    return count;
}

// The better of the table's value and of captures, searched with the window alpha to beta. The position follows a
// capture, so it has no en-passant square.
int probe_captures(const ProbePosition& position, int alpha, int beta, int& success) {
    ProbeMoveList captures;
    gen_probe_captures(position, captures);
    ProbePosition child;
    for (const ProbeMove move : captures) {
        if (!play_probe_move(position, move, child)) continue;
        const int value = -probe_captures(child, -beta, -alpha, success);
        if (success == PROBE_FAILED) return 0;
        if (value >= beta) return value;
        alpha = std::max(alpha, value);
    }
    const int value = probe_table(position, 0, success, false);
    return success == PROBE_FAILED ? 0 : std::max(alpha, value);
}

bool has_other_move_than_en_passant(const ProbePosition& position) {
    ProbeMoveList moves;
    gen_probe_moves(position, moves);
    ProbePosition child;
    return std::any_of(moves.begin(), moves.end(), [&](ProbeMove move) {
        return !is_probe_en_passant(position, move) && play_probe_move(position, move, child);
    });
}

bool is_zeroing(const ProbePosition& position, ProbeMove move) {
    return is_probe_pawn_move(position, move) || is_probe_capture(position, move);
}

constexpr int NO_CAPTURE = -3;

// What the legal captures of a position are worth to its side to move.
struct CaptureValues {
    int plain = NO_CAPTURE;
    int en_passant = NO_CAPTURE;  // counted only if it was better than the captures before it
};

// Stops at a win: no capture can be better. On failure `success` says so.
CaptureValues probe_own_captures(const ProbePosition& position, int& success) {
    CaptureValues best;
    ProbeMoveList captures;
    gen_probe_captures(position, captures);
    ProbePosition child;
    for (const ProbeMove move : captures) {
        if (!play_probe_move(position, move, child)) continue;
        const int value = -probe_captures(child, -2, -best.plain, success);
        if (success == PROBE_FAILED) return best;
        if (value <= best.plain) continue;
        int& kind = is_probe_en_passant(position, move) ? best.en_passant : best.plain;
        kind = std::max(kind, value);
        if (value == 2) break;
    }
    return best;
}

// True if a pawn move that captures nothing keeps the win; fails with its probes.
bool pawn_advance_keeps(const ProbePosition& position, int wdl, int& success) {
    ProbeMoveList moves;
    gen_probe_pawn_advances(position, moves);
    ProbePosition child;
    for (const ProbeMove move : moves) {
        if (!play_probe_move(position, move, child)) continue;
        const int value = -probe_wdl(child, success);
        if (success == PROBE_FAILED) return false;
        if (value == wdl) return true;
    }
    return false;
}

int dtz_by_search(const ProbePosition& position, int wdl, int& success);

// Distance to zeroing of a position whose value, not 0, is known, and which no capture brings about.
int dtz_without_captures(const ProbePosition& position, int wdl, int& success) {
    success = PROBE_FROM_TABLE;
    if (wdl > 0) {
        const bool advance_wins = pawn_advance_keeps(position, wdl, success);
        if (success == PROBE_FAILED) return 0;
        if (advance_wins) return zeroing_dtz(wdl);
        success = PROBE_FROM_TABLE;
    }
    const int plies = probe_table(position, wdl, success, true);
    if (success == PROBE_FAILED) return 0;
    if (success == PROBE_OTHER_SIDE) {
        success = PROBE_FROM_TABLE;
        return dtz_by_search(position, wdl, success);
    }
    return (wdl > 0 ? plies : -plies) + zeroing_dtz(wdl);
}

// probe_dtz of a position known to be won: what its captures lead to settles whether one of them wins, and the
// position's own value need not be read again.
int won_dtz(const ProbePosition& position, int& success) {
    success = PROBE_FROM_TABLE;
    const CaptureValues captures = probe_own_captures(position, success);
    if (success == PROBE_FAILED) return 0;
    if (std::max(captures.plain, captures.en_passant) == 2) return zeroing_dtz(2);
    return dtz_without_captures(position, 2, success);
}

// The table holds the other side to move: takes the best of the children. Zeroing moves need no look, those that
// win were found before, and losing ones are what the search starts from.
int dtz_by_search(const ProbePosition& position, int wdl, int& success) {
    constexpr int NONE = std::numeric_limits<int>::max();
    int best = wdl > 0 ? NONE : zeroing_dtz(wdl);
    ProbeMoveList moves;
    gen_probe_piece_quiets(position, moves);
    ProbePosition child;
    for (const ProbeMove move : moves) {
        if (!play_probe_move(position, move, child)) continue;
        const int value = wdl == -2 ? won_dtz(child, success) : probe_dtz(child, success);
        if (success == PROBE_FAILED) return 0;
        if (wdl < 0) {
            best = std::min(best, -value - 1);
        } else if (value == -1 && is_checkmate(child)) {
            best = 1;
        } else if (value < 0) {
            best = std::min(best, 1 - value);
        }
    }
    return best != NONE ? best : fail(success);  // only damaged tables promise a win that no move brings
}

// Value of a root move: plies to zeroing after it from the mover's view, 0 for a draw.
int root_move_dtz(const ProbePosition& root, int root_dtz, ProbeMove move, const ProbePosition& child, int& success) {
    if (root_dtz > 0 && is_checkmate(child)) return 1;
    if (is_zeroing(root, move)) return zeroing_dtz(-probe_wdl(child, success));
    const int value = probe_dtz(child, success);
    return value < 0 ? 1 - value : value > 0 ? -value - 1 : 0;
}

// Whether a winning move may still lead to a draw; the larger, the worse.
enum DrawRisk : int { NO_RISK, REPLY_DRAWS, MOVE_DRAWS };

bool repeats(Position& position) {
    return position.rule50 < FIFTY_MOVE_PLIES && is_draw(position, 0);
}

// The tables do not know the moves played so far. The game is drawn when the position after the move, or after a reply,
// occurs for the third time, or when the next zeroing move, `value` plies ahead, is too late for the fifty-move rule.
DrawRisk draw_risk(Position& root, Move move, int value, const ProbePosition& child) {
    if (root.rule50 + value > FIFTY_MOVE_PLIES) return MOVE_DRAWS;
    make_move(root, move);
    DrawRisk risk = repeats(root) ? MOVE_DRAWS : NO_RISK;
    ProbeMoveList replies;
    gen_probe_moves(child, replies);
    ProbePosition unused;
    for (int i = 0; i < replies.count && risk == NO_RISK; ++i) {
        if (!play_probe_move(child, replies.moves[i], unused)) continue;
        make_move(root, to_engine_move(replies.moves[i]));
        if (repeats(root)) risk = REPLY_DRAWS;
        unmake_move(root);
    }
    unmake_move(root);
    return risk;
}

}  // namespace

int probe_table(const ProbePosition& position, int wdl, int& success, bool dtz) {
    const Bitboard occ = position.colours[WHITE] | position.colours[BLACK];
    if (occ == position.types[KING]) return 0;  // bare kings, reached by captures
    if ((position.types[PAWN] & LAST_RANKS) != 0) return fail(success);

    const std::uint64_t key = material_key(position, WHITE);
    TableEntry* const entry = find_table(key);
    if (!entry || (dtz && !entry->has_dtz)) return fail(success);
    const Material& material = entry->material;
    if (popcount(occ) != material.pieces) return fail(success);
    const TableKind kind = dtz ? DTZ_TABLE : WDL_TABLE;
    const TableData* const table = table_data(*entry, kind);
    if (!table) return fail(success);

    // Turn the board so that the side named first is White, and White to move where both are alike.
    const bool flipped = material.symmetric ? position.side == BLACK : key != entry->key;
    const int side = position.side ^ (flipped ? 1 : 0);

    int squares[TB_MAX_PIECES + 1];
    int filled = 0;
    int file = 0;
    if (material.has_pawns) {
        const int leading_pawn = table->sets[0].order.pieces[0];
        filled = collect_squares(position, leading_pawn, flipped, squares);
        file = take_leading_pawn(squares, filled);
    }
    const int encoding = file * table->sides + (table->sides == 2 ? side : 0);
    const EncodingSet& set = table->sets[static_cast<std::size_t>(encoding)];
    if (dtz && !material.symmetric && (set.dtz.flags & DTZ_BLACK_TO_MOVE) != side) {
        return fail(success, PROBE_OTHER_SIDE);
    }
    while (filled < set.order.count) {
        const int count = collect_squares(position, set.order.pieces[filled], flipped, squares + filled);
        if (count == 0) return fail(success);
        filled += count;
    }
    const std::uint64_t index = position_index(set.order, material, squares);
    const int stored = stored_value(*table, set, index);
    const int value = dtz && stored >= 0 ? mapped_dtz(*table, set.dtz, stored, wdl) : stored;
    if (!is_whole(*table)) {
        give_up_table(*entry, kind);
        return fail(success);
    }
    if (dtz) return value >= 0 ? value : fail(success);
    return value >= 0 && value <= 4 ? value - 2 : fail(success);
}

int probe_wdl(const ProbePosition& position, int& success) {
    success = PROBE_FROM_TABLE;
    auto [best_capture, best_en_passant] = probe_own_captures(position, success);
    if (success == PROBE_FAILED) return 0;
    if (best_capture == 2 || best_en_passant == 2) {
        success = PROBE_FROM_CAPTURE;
        return 2;
    }

    // The table knows neither en passant nor, necessarily, positions in which a capture is best.
    const int value = probe_table(position, 0, success, false);
    if (success == PROBE_FAILED) return 0;
    if (best_en_passant > best_capture) {
        if (best_en_passant > value) {
            success = PROBE_FROM_CAPTURE;
            return best_en_passant;
        }
        best_capture = best_en_passant;
    }
    if (best_capture >= value) {
        success = best_capture <= 0 ? PROBE_FROM_TABLE : PROBE_FROM_CAPTURE;
        return best_capture;
    }
    // Stalemate for the table, but en passant is a move, and then forced.
    if (best_en_passant > NO_CAPTURE && value == 0 && !has_other_move_than_en_passant(position) &&
        !in_check(position)) {
        success = PROBE_FROM_CAPTURE;
        return best_en_passant;
    }
    return value;
}

int probe_dtz(const ProbePosition& position, int& success) {
    const int wdl = probe_wdl(position, success);
    if (success == PROBE_FAILED || wdl == 0) return 0;
    if (success == PROBE_FROM_CAPTURE) return zeroing_dtz(wdl);
    return dtz_without_captures(position, wdl, success);
}

int tb_probe_position(const Position& position) {
    int success;
    const int wdl = probe_wdl(make_probe_position(position), success);
    return success == PROBE_FAILED ? -1 : wdl + 2;
}

bool tb_probe_root_dtz(Position& position, Move& move, int& result) {
    if (tb_largest == 0 || position.castling != 0 || popcount(occupancy(position)) > tb_largest) return false;
    const ProbePosition root = make_probe_position(position);
    int success;
    const int root_dtz = probe_dtz(root, success);
    if (success == PROBE_FAILED) return false;

    ProbeMoveList moves;
    gen_probe_moves(root, moves);
    ProbeMoveList drawing;
    ProbeMove best = 0;
    int best_value = 0;  // 0: no move yet
    DrawRisk best_risk = MOVE_DRAWS;
    for (const ProbeMove candidate : moves) {
        ProbePosition child;
        if (!play_probe_move(root, candidate, child)) continue;
        const int value = root_move_dtz(root, root_dtz, candidate, child, success);
        if (success == PROBE_FAILED) return false;
        if (value == 0) drawing.moves[drawing.count++] = candidate;
        // The shortest win among the safest or, from a lost position, the longest resistance.
        bool better = root_dtz < 0 && value < best_value;
        DrawRisk risk = MOVE_DRAWS;
        if (root_dtz > 0 && value > 0) {
            risk = draw_risk(position, to_engine_move(candidate), value, child);
            better = best_value == 0 || risk < best_risk || (risk == best_risk && value < best_value);
        }
        if (better) {
            best = candidate;
            best_value = value;
            best_risk = risk;
        }
    }

    if (root_dtz > 0) {
        result = position.rule50 + root_dtz <= FIFTY_MOVE_PLIES ? 4 : 3;
    } else if (root_dtz < 0) {
        result = position.rule50 - root_dtz > FIFTY_MOVE_PLIES ? 1 : 0;
    } else {
        if (drawing.count == 0) return false;
        // Any drawing move will do; the material decides, so that the choice repeats.
        const std::uint64_t choice = material_key(root, position.side) % static_cast<std::uint64_t>(drawing.count);
        best = drawing.moves[choice];
        best_value = 1;
        result = 2;
    }
    if (best_value == 0) return false;
    move = to_engine_move(best);
    return true;
}
