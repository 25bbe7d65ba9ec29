// Moves as text. One move has up to four equivalent texts; reading is matching against them, so that SAN,
// coordinate moves and the common variants need no parser of their own.
#include "position/notation.h"

#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "position/castling.h"
#include "position/make_move.h"
#include "position/movegen.h"

#include <cctype>

namespace {

std::string coordinates(int from, int to) {
    return std::string(square_names[from]) + square_names[to];
}

std::string promotion_suffix(Move move) {
    return {'=', PIECE_LETTERS[promotion_type(move)]};
}

// The square that stands for the destination of a castling: the king's, or with `as_rook` the rook's own.
int castling_target(const Position& position, int colour, Move move, bool as_rook) {
    return as_rook ? position.castle_rook[castling_index(colour, move)] : move_to(move);
}

// Squares of the mover's twins: pieces of its type and colour that reach the destination too, itself included.
Bitboard candidates(const Position& position, int c, int type, int to) {
    const Bitboard occ = occupancy(position) | bit(to);
    Bitboard reach = 0;
    if (type == KNIGHT) reach = knight_attacks[to];
    if (type == BISHOP || type == QUEEN) reach |= bishop_attacks(to, occ);
    if (type == ROOK || type == QUEEN) reach |= rook_attacks(to, occ);
    return reach & position.pieces[c][type];
}

void add_pawn_forms(const Position& position, Move move, MoveForms& forms) {
    const char* from = square_names[move_from(move)];
    const char* to = square_names[move_to(move)];
    forms.san = to;
    if (position.board[move_to(move)] || move_to(move) == position.ep_square) {
        forms.san = std::string{from[0], 'x'} + to;
        forms.alternate = {from[0], to[0]};
    }
    if (!(move & MOVE_FLAGS)) return;
    forms.san += promotion_suffix(move);
    if (!forms.alternate.empty()) forms.alternate += promotion_suffix(move);
}

void add_castling_forms(const Position& position, Move move, MoveForms& forms) {
    const bool king_side = move & MOVE_KING_SIDE;
    forms.san = king_side ? "o-o" : "o-o-o";
    forms.alternate = king_side ? "O-O" : "O-O-O";
    forms.alternate2 = coordinates(move_from(move), castling_target(position, position.side, move, !settings.chess960));
}

void add_piece_forms(const Position& position, Move move, MoveForms& forms) {
    const int from = move_from(move);
    const int to = move_to(move);
    const int type = type_of(position.board[from]);
    std::string tail;
    if (position.board[to]) tail += 'x';
    tail += square_names[to];
    const char letter = PIECE_LETTERS[type];
    forms.alternate = std::string{letter, square_names[from][0]} + tail;
    forms.alternate2 = std::string{letter, square_names[from][1]} + tail;

    const Bitboard twins = candidates(position, position.side, type, to) & ~bit(from);
    if (twins & (FILE_A << file_of(from))) {
        forms.san = forms.alternate2;
    } else if (twins & (Bitboard{0xFF} << (rank_of(from) * 8))) {
        forms.san = forms.alternate;
    } else {
        forms.san = std::string{letter} + tail;
    }
}

void add_check_sign(MoveForms& forms) {
    for (std::string* form : {&forms.coordinate, &forms.san, &forms.alternate, &forms.alternate2}) {
        if (!form->empty()) *form += '+';
    }
}

}  // namespace

std::string move_to_text_raw(const Position& position, int colour, Move move) {
    const int from = move_from(move);
    std::string text = coordinates(from, move_to(move));
    if (!(move & MOVE_FLAGS)) return text;
    if (rank_of(from) == 0 || rank_of(from) == 7) {
        const bool as_rook = settings.chess960;
        return coordinates(from, castling_target(position, colour, move, as_rook));
    }
    if (!settings.uci_mode) return text + promotion_suffix(move);
    return text + static_cast<char>(std::tolower(PIECE_LETTERS[promotion_type(move)]));
}

std::string move_to_text(const Position& position, int colour, Move move) {
    return move == NULL_MOVE ? "null" : move_to_text_raw(position, colour, move);
}

MoveForms move_to_san(const Position& position, Move move) {
    MoveForms forms;
    if (move == NULL_MOVE) {
        forms.coordinate = "null";
        return forms;
    }
    const int piece = position.board[move_from(move)];
    forms.coordinate = move_to_text_raw(position, position.side, move);
    if (type_of(piece) == PAWN) {
        if (move & MOVE_FLAGS) forms.coordinate = coordinates(move_from(move), move_to(move)) + promotion_suffix(move);
        add_pawn_forms(position, move, forms);
    } else if (is_castling(position, move)) {
        add_castling_forms(position, move, forms);
    } else {
        add_piece_forms(position, move, forms);
    }
    const MoveEntry entry = {
        .move = move, .score = 0, .piece = static_cast<std::uint8_t>(piece), .captured = position.board[move_to(move)]};
    if (move_flags(position, position.side, entry) & MOVE_IS_CHECK) add_check_sign(forms);
    return forms;
}

namespace {

std::string_view without_check_sign(std::string_view text) {
    return text.substr(0, text.find('+'));
}

// Where the other pieces stand that could legally make the same move.
Bitboard legal_twins(Position& position, Move move) {
    Bitboard twins = 0;
    for (const MoveEntry& entry : entries_of(gen_all(position))) {
        const bool same_target = move_to(entry.move) == move_to(move) && entry.move != move;
        if (same_target && entry.piece == position.board[move_from(move)] &&
            is_legal(position, position.side, entry.move)) {
            twins |= bit(move_from(entry.move));
        }
    }
    return twins;
}

// The standard's text of the move without a check sign.
std::string plain_san(Position& position, Move move) {
    const Bitboard twins = legal_twins(position, move);
    const MoveForms forms = move_to_san(position, move);
    if (is_castling(position, move)) return forms.alternate;
    if (type_of(position.board[move_from(move)]) == PAWN) return forms.san;
    if (!twins) return forms.alternate.substr(0, 1) + forms.alternate.substr(2);
    const int from = move_from(move);
    if (!(twins & (FILE_A << file_of(from)))) return forms.alternate;
    if (!(twins & (Bitboard{0xFF} << (rank_of(from) * 8)))) return forms.alternate2;
    return forms.alternate.substr(0, 2) + forms.alternate2.substr(1);
}

// Of the position after the move, so that a castling rook's check counts too.
const char* check_sign(Position& position, Move move) {
    make_move(position, move);
    const bool check = side_in_check(position);
    const bool mate = check && !has_legal_move(position);
    unmake_move(position);
    return mate ? "#" : check ? "+" : "";
}

}  // namespace

std::string move_to_pgn(Position& position, Move move) {
    std::string text(without_check_sign(plain_san(position, move)));
    return text += check_sign(position, move);
}

namespace {

// Brings the typed text to the spelling of the forms: no check sign, "=Q" for any way to write a promotion,
// castling with lower-case letters.
std::string canonical_spelling(std::string_view typed) {
    std::string text(without_check_sign(typed));
    if (!text.empty()) {
        const char last = static_cast<char>(std::toupper(static_cast<unsigned char>(text.back())));
        if (last == 'B' || last == 'N' || last == 'Q' || last == 'R') {
            const bool has_sign = text.size() > 1 && text[text.size() - 2] == '=';
            text.pop_back();
            if (!has_sign) text += '=';
            text += last;
        }
    }
    for (char& ch : text) {
        if (ch == 'O' || ch == '0') ch = 'o';
    }
    return text;
}

bool fits_a_form(const Position& position, Move move, std::string_view text) {
    const MoveForms forms = move_to_san(position, move);
    for (const std::string* form : {&forms.coordinate, &forms.san, &forms.alternate, &forms.alternate2}) {
        if (!form->empty() && without_check_sign(*form) == text) return true;
    }
    return false;
}

// "Nf3" or "Nxf3" without the file or rank that our writer would add (other programs leave it out when the twin
// piece is pinned), or with both ("Qh4xe1", needed when three pieces of a kind reach the square).
bool fits_plain_piece_text(const MoveEntry& entry, std::string_view text) {
    const int type = type_of(entry.piece);
    if (type == PAWN || (entry.move & MOVE_FLAGS) || text.empty() || text[0] != PIECE_LETTERS[type]) return false;
    text.remove_prefix(1);
    if (text.size() > 2 && text.starts_with(square_names[move_from(entry.move)])) text.remove_prefix(2);
    if (text.starts_with('x')) text.remove_prefix(1);
    return text == square_names[move_to(entry.move)];
}

// A text in canonical spelling, and what it tells before any move is looked at.
struct MoveText {
    std::string text;
    char promotion = '\0';   // letter after the equals sign
    int target = NO_SQUARE;  // square that the text ends with, the promotion left out
};

MoveText read_text(std::string_view typed) {
    MoveText result{.text = canonical_spelling(typed)};
    std::string_view body = result.text;
    const std::size_t sign = body.rfind('=');
    if (sign != std::string_view::npos && sign + 2 == body.size()) {
        result.promotion = body.back();
        body = body.substr(0, sign);
    }
    if (body.size() < 2) return result;
    const int file = body[body.size() - 2] - 'a';
    const int rank = body.back() - '1';
    if (file >= 0 && file < 8 && rank >= 0 && rank < 8) result.target = make_square(file, rank);
    return result;
}

// False for a move that has no form equal to the text. Nearly all moves of a position fail here, so that the forms of
// the others need not be written.
bool may_fit(const MoveEntry& entry, const MoveText& typed) {
    const int type = type_of(entry.piece);
    const bool flagged = entry.move & MOVE_FLAGS;
    if (flagged && type == KING) return typed.target != NO_SQUARE || typed.text.starts_with('o');
    // A pawn's forms begin with the file that it comes from, the others with the piece's letter or its square.
    const char* const from = square_names[move_from(entry.move)];
    const char first = typed.text[0];
    const bool from_square = first == from[0] && typed.text[1] == from[1];
    if (type == PAWN ? first != from[0] : first != PIECE_LETTERS[type] && !from_square) return false;
    if (typed.promotion != (flagged ? PIECE_LETTERS[promotion_type(entry.move)] : '\0')) return false;
    // Only a pawn's capture can be written without a square ("ed").
    return typed.target == NO_SQUARE ? type == PAWN : typed.target == move_to(entry.move);
}

// Holds every move that the text may mean. A piece's letter and a square leave only that kind's moves there, a square
// alone the pawn's push, written to `few`; otherwise it is the whole list.
std::span<const MoveEntry> moves_to_match(Position& position, const MoveText& typed, MoveEntry* few) {
    constexpr struct {
        char letter;
        MoveEntry* (*generate)(const Position&, int, Bitboard, Bitboard, MoveEntry*);
    } KINDS[] = {{'N', gen_knight_moves}, {'B', gen_bishop_moves}, {'R', gen_rook_moves}, {'Q', gen_queen_moves}};
    if (typed.target == NO_SQUARE) return entries_of(gen_all(position));
    const int c = position.side;
    const Bitboard occ = occupancy(position);
    const Bitboard target = bit(typed.target);
    for (const auto& kind : KINDS) {
        if (typed.text[0] != kind.letter) continue;
        return {few, kind.generate(position, c, target & ~position.pieces[c][0], occ, few)};
    }
    const bool last_rank = rank_of(typed.target) == 0 || rank_of(typed.target) == 7;
    if (typed.text.size() == 2 && !last_rank) return {few, gen_pawn_pushes(position, c, target & ~occ, occ, few)};
    return entries_of(gen_all(position));
}

// The one legal move that may fit, if it is written in the shortest way; otherwise the forms have to be compared.
const MoveEntry* plainly_meant(const Position& position, std::span<const MoveEntry> list, const MoveText& typed) {
    const MoveEntry* only = nullptr;
    for (const MoveEntry& entry : list) {
        if (!may_fit(entry, typed) || !is_legal(position, position.side, entry.move)) continue;
        if (only) return nullptr;
        only = &entry;
    }
    if (!only || fits_plain_piece_text(*only, typed.text)) return only;
    const bool pawn_push = type_of(only->piece) == PAWN && typed.text == square_names[move_to(only->move)];
    return pawn_push ? only : nullptr;
}

}  // namespace

int parse_move(Position& position, std::string_view typed, Move& move) {
    move = NULL_MOVE;
    const MoveText text = read_text(typed);
    const int c = position.side;
    position.owner->search_ply = 1;

    MoveEntry few[64];
    const std::span<const MoveEntry> list = moves_to_match(position, text, few);
    if (const MoveEntry* meant = plainly_meant(position, list, text)) {
        move = meant->move;
        return 1;
    }

    int matches = 0;
    int plain_matches = 0;
    Move plain_move = NULL_MOVE;
    for (const MoveEntry& entry : list) {
        if (!may_fit(entry, text)) continue;
        const bool fits = fits_a_form(position, entry.move, text.text);
        const bool fits_plain = fits_plain_piece_text(entry, text.text);
        if ((!fits && !fits_plain) || !is_legal(position, c, entry.move)) continue;
        if (fits) {
            ++matches;
            move = entry.move;
        }
        if (fits_plain) {
            ++plain_matches;
            plain_move = entry.move;
        }
    }
    if (matches == 0 && plain_matches == 1) {
        move = plain_move;
        return 1;
    }
    if (matches == 2) print_raw("ambiguous move\n");
    return matches == 1 ? 1 : 0;
}

Move parse_uci_move(const Position& position, std::string_view text) {
    if (text == "0000") return NULL_MOVE;
    const auto at = [&text](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0; };
    const auto square_at = [&at](std::size_t i) { return ((at(i) - 'a') + (at(i + 1) - '1') * 8) & 255; };
    const int from = square_at(0);
    const int to = square_at(2);
    int move = from << 8 | to;

    const int c = position.side;
    if (from < 64 && to < 64 && position.board[from] == make_piece(c, KING) && relative_rank(c, from) == 0 &&
        rank_of(to) == rank_of(from)) {
        const int distance = file_of(to) > file_of(from) ? to - from : from - to;
        if (distance >= 2 || position.board[to] == make_piece(c, ROOK)) {
            move |= to > from ? MOVE_KING_SIDE : MOVE_QUEEN_SIDE;
        }
    }
    switch (at(4)) {
        case 'q': move |= MOVE_QUEEN; break;
        case 'n': move |= MOVE_KNIGHT; break;
        case 'b': move |= MOVE_BISHOP; break;
        case 'r': move |= MOVE_ROOK; break;
        default: break;
    }
    return static_cast<Move>(move);
}

Move find_uci_move(Position& position, std::string_view text) {
    const auto is_square = [&text](std::size_t i) {
        return text[i] >= 'a' && text[i] <= 'h' && text[i + 1] >= '1' && text[i + 1] <= '8';
    };
    if (text.size() < 4 || text.size() > 5 || !is_square(0) || !is_square(2)) return NULL_MOVE;
    const Move wanted = parse_uci_move(position, text);
    const auto is_wanted = [&](Move move) {
        if (move == wanted) return true;
        // A castling king may be sent to its own square or to that of the rook.
        return is_castling(position, move) && move_from(move) == move_from(wanted) &&
               (move & MOVE_FLAGS) == (wanted & MOVE_FLAGS);
    };
    for (const MoveEntry& entry : entries_of(gen_all(position))) {
        if (is_wanted(entry.move) && is_legal(position, position.side, entry.move)) return entry.move;
    }
    return NULL_MOVE;
}
