// Hands out the moves of a node one at a time: hash move, tactical moves, quiet moves (or quiet checks in
// quiescence), each group generated only when it is reached; and the memory that orders the quiet moves.
#include "search/move_picker.h"

#include "position/movegen.h"
#include "position/see.h"

#include <algorithm>
#include <utility>

namespace {

// Stages: the low four bits of StackEntry::stage.
enum : int {
    STAGE_HASH_MOVE = 0,
    STAGE_TACTICAL = 1,
    STAGE_QUIESCENCE = 2,  // captures by victim and attacker
    STAGE_QUIET_CHECKS = 3,
    STAGE_GOOD_TACTICAL = 4,
    STAGE_QUIET = 5,
    STAGE_BY_SCORE = 6,  // bad tactical and quiet moves together
    STAGE_IN_ORDER = 7,  // the rest as it stands
};
constexpr int STAGE_MASK = 15;

constexpr int HASH_MOVE_SCORE = 255;
constexpr int UNSORTED_SCORE = 2;  // moves up to this are not worth sorting
constexpr int QUIET_CHECK_SCORE = 100;
constexpr int GOOD_CAPTURE_SEE = -49;  // an exchange result from here on is a good capture

// By type of the captured piece.
constexpr std::int16_t GOOD_CAPTURE_BASE[8] = {210, 220, 230, 230, 240, 250, 0, 0};
constexpr std::int16_t BAD_CAPTURE_SCORE[8] = {2, 4, 12, 12, 16, 20, 0, 0};

constexpr int HISTORY_MAX = 262144;
constexpr int HISTORY_START = 16384;
constexpr int HISTORY_SCORE = 80;  // ordering score of a full history

constexpr Bitboard RANKS_3_TO_6 = 0x0000FFFFFFFF0000ULL;

int memory_index(const MoveEntry& entry) {
    return entry.piece * 64 + move_to(entry.move);
}

void set_stage(StackEntry& entry, int stage) {
    entry.stage = static_cast<std::uint16_t>((entry.stage & ~STAGE_MASK) | stage);
}

// Ends the list and places the lists of the next two plies behind it.
void end_list(GameState& game, int ply, MoveEntry* end) {
    end->move = END_OF_LIST;
    game.list_start[ply + 1] = end + 1;
    game.list_start[ply + 2] = end + 2;
}

// Highest-scored record from `first` to the end marker, the earliest of equals; nullptr when there is none.
MoveEntry* find_best(MoveEntry* first) {
    if (first->move == END_OF_LIST) return nullptr;
    MoveEntry* best = first;
    for (MoveEntry* entry = first + 1; entry->move != END_OF_LIST; ++entry) {
        if (entry->score > best->score) best = entry;
    }
    return best;
}

MoveEntry* hand_out(GameState& game, int ply, MoveEntry* next, MoveEntry* chosen) {
    if (chosen != next) std::swap(*chosen, *next);
    return game.current[ply] = next;
}

std::int16_t capture_order_score(const MoveEntry& entry) {
    return static_cast<std::int16_t>(GOOD_CAPTURE_BASE[type_of(entry.captured)] - type_of(entry.piece));
}

void generate_tactical(SearchThread& thread, int ply, MoveEntry* list) {
    const Position& position = thread.position;
    const StackEntry& entry = thread.stack[ply];
    const bool main_order = entry.stage & PICK_MAIN;
    MoveEntry* end = gen_captures(position, position.side, list, entry.checker_square);
    end = gen_promotions(position, position.side, main_order, end);
    end = gen_pushes_to_seventh(position, position.side, end);
    end_list(thread.game, ply, end);
    for (MoveEntry* move = list; move != end; ++move) {
        move->score =
            main_order ? static_cast<std::int16_t>(tactical_score(position, *move)) : capture_order_score(*move);
    }
}

// Quiet moves onto the squares from which the piece attacks the enemy king. Pushes to the seventh rank are
// left out: they have come with the tactical moves.
void generate_quiet_checks(SearchThread& thread, int ply, MoveEntry* list) {
    const Position& position = thread.position;
    const int side = position.side;
    const int king = position.king_square[side ^ 1];
    const Bitboard occ = occupancy(position);
    const Bitboard diagonals = bishop_attacks(king, occ) & ~occ;
    const Bitboard lines = rook_attacks(king, occ) & ~occ;
    MoveEntry* end = list;
    end = gen_pawn_pushes(position, side, pawn_attacks[side ^ 1][king] & ~occ & RANKS_3_TO_6, occ, end);
    end = gen_knight_moves(position, side, knight_attacks[king] & ~occ, occ, end);
    end = gen_bishop_moves(position, side, diagonals, occ, end);
    end = gen_rook_moves(position, side, lines, occ, end);
    end = gen_queen_moves(position, side, diagonals | lines, occ, end);
    end_list(thread.game, ply, end);
    for (MoveEntry* move = list; move != end; ++move) move->score = QUIET_CHECK_SCORE;
}

void generate_quiets(SearchThread& thread, int ply, MoveEntry* list) {
    const Position& position = thread.position;
    MoveEntry* end = gen_quiets(position, position.side, list, thread.stack[ply].checker_square);
    end_list(thread.game, ply, end);
    for (MoveEntry* move = list; move != end; ++move) {
        move->score = ply > 1 ? static_cast<std::int16_t>(quiet_score(thread, ply, *move)) : std::int16_t{0};
    }
}

MoveEntry* end_of_list(MoveEntry* entry) {
    while (entry->move != END_OF_LIST) ++entry;
    return entry;
}

}  // namespace

MoveEntry* next_move(SearchThread& thread) {
    GameState& game = thread.game;
    const int ply = game.search_ply;
    StackEntry& entry = thread.stack[ply];
    const bool first_call = (entry.stage & STAGE_MASK) == STAGE_HASH_MOVE;
    // The place of the record to be handed out.
    MoveEntry* const next = first_call ? game.list_start[ply] : game.current[ply] + 1;

    for (;;) {
        switch (entry.stage & STAGE_MASK) {
            case STAGE_HASH_MOVE:
                set_stage(entry, STAGE_TACTICAL);
                if ((entry.stage & PICK_HASH_MOVE) && entry.hash_move != NULL_MOVE) {
                    const Position& position = thread.position;
                    *next = {entry.hash_move, HASH_MOVE_SCORE, position.board[move_from(entry.hash_move)],
                             position.board[move_to(entry.hash_move)]};
                    end_list(game, ply, next + 1);
                    return game.current[ply] = next;
                }
                break;
            case STAGE_TACTICAL:
                generate_tactical(thread, ply, next);
                set_stage(entry, entry.stage & PICK_MAIN ? STAGE_GOOD_TACTICAL : STAGE_QUIESCENCE);
                break;
            case STAGE_QUIESCENCE:
                if (MoveEntry* best = find_best(next)) return hand_out(game, ply, next, best);
                set_stage(entry, STAGE_QUIET_CHECKS);
                break;
            case STAGE_QUIET_CHECKS:
                if (!(entry.stage & PICK_QUIET_CHECKS)) return nullptr;
                generate_quiet_checks(thread, ply, next);
                set_stage(entry, STAGE_IN_ORDER);
                break;
            case STAGE_GOOD_TACTICAL:
                if (MoveEntry* best = find_best(next); best && best->score > GOOD_SCORE) {
                    return hand_out(game, ply, next, best);
                }
                set_stage(entry, STAGE_QUIET);
                break;
            case STAGE_QUIET:
                generate_quiets(thread, ply, end_of_list(next));
                set_stage(entry, STAGE_BY_SCORE);
                break;
            case STAGE_BY_SCORE:
                if (MoveEntry* best = find_best(next); best && best->score > UNSORTED_SCORE) {
                    return hand_out(game, ply, next, best);
                }
                set_stage(entry, STAGE_IN_ORDER);
                break;
            default: return next->move == END_OF_LIST ? nullptr : game.current[ply] = next;
        }
    }
}

int tactical_score(const Position& position, const MoveEntry& entry) {
    const int captured = type_of(entry.captured);
    return see_reaches(position, position.side, move_from(entry.move), move_to(entry.move), GOOD_CAPTURE_SEE)
               ? GOOD_CAPTURE_BASE[captured] - type_of(entry.piece)
               : BAD_CAPTURE_SCORE[captured];
}

int quiet_score(const SearchThread& thread, int ply, const MoveEntry& entry) {
    const StackEntry& node = thread.stack[ply];
    const Move move = entry.move;
    const int base = thread.history[memory_index(entry)] * HISTORY_SCORE / HISTORY_MAX;

    if (node.in_check) {
        if (move == node.check_killer) return base + 70;
    } else {
        if (move == node.killer1) return base + 80;
        if (move == node.killer2) return base + 75;
    }
    const MoveEntry& previous = *thread.game.current[ply - 1];
    if (previous.move == NULL_MOVE) return base;
    if (move == thread.counter_move[memory_index(previous)]) return base + 65;
    if (move == thread.counter_move2[memory_index(previous)]) return base + 60;
    if (!node.in_check && ply > 1) {
        const MoveEntry& own_previous = *thread.game.current[ply - 2];
        if (own_previous.move != NULL_MOVE && move == thread.followup_move[memory_index(own_previous)]) {
            return base + 50;
        }
    }
    return base;
}

void update_history(SearchThread& thread, int ply, const MoveEntry& entry, int depth, bool raised_alpha) {
    const int weight = std::min(depth, 16);
    std::int32_t& history = thread.history[memory_index(entry)];
    if (!raised_alpha) {
        history -= weight * history / 512;
        return;
    }
    history += weight * (HISTORY_MAX - history) / 256;

    StackEntry& node = thread.stack[ply];
    const Move move = entry.move;
    if (node.in_check) {
        node.check_killer = move;
    } else if (node.killer1 != move) {
        node.killer2 = node.killer1;
        node.killer1 = move;
    }
    const MoveEntry& previous = *thread.game.current[ply - 1];
    if (previous.move == NULL_MOVE) return;
    const int reply = memory_index(previous);
    if (thread.counter_move[reply] != move) {
        thread.counter_move2[reply] = thread.counter_move[reply];
        thread.counter_move[reply] = move;
    }
    const MoveEntry& own_previous = *thread.game.current[ply - 2];
    if (own_previous.move != NULL_MOVE) thread.followup_move[memory_index(own_previous)] = move;
}

void clear_ordering(SearchThread& thread) {
    for (StackEntry& entry : thread.stack) {
        entry.hash_move = entry.killer1 = entry.killer2 = entry.check_killer = NULL_MOVE;
    }
    std::fill(std::begin(thread.counter_move), std::end(thread.counter_move), NULL_MOVE);
    std::fill(std::begin(thread.counter_move2), std::end(thread.counter_move2), NULL_MOVE);
    std::fill(std::begin(thread.followup_move), std::end(thread.followup_move), NULL_MOVE);
    std::fill(std::begin(thread.history), std::end(thread.history), HISTORY_START);
}
