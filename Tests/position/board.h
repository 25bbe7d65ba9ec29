// A position with its game record, and helpers that the tests of several rooms share.
#pragma once

#include "position/make_move.h"
#include "position/movegen.h"
#include "position/notation.h"
#include "position/position.h"
#include "shared_data.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

inline const bool tables_ready = (init_tables(), init_zobrist(), true);

inline std::vector<Move> legal_moves(Position& position) {
    std::vector<Move> moves;
    for (const MoveEntry* entry = gen_all(position); entry->move != END_OF_LIST; ++entry) {
        if (is_legal(position, position.side, entry->move)) moves.push_back(entry->move);
    }
    return moves;
}

// Plays moves in coordinate notation, separated by spaces, as a GUI's move list is played.
inline void play_moves(Position& position, const std::string& moves) {
    for (const std::string& move : split_words(moves)) {
        make_move(position, parse_uci_move(position, move));
        position.owner->search_ply = 1;
    }
}

struct Board {
    std::unique_ptr<GameState> game = std::make_unique<GameState>();
    Position position{};

    explicit Board(std::string_view fen = START_FEN) {
        init_game_state(*game, position);
        set_position(position, fen);
    }
    Board(const Board&) = delete;

    std::string fen(bool with_counters = false) const { return position_to_fen(position, with_counters); }
    Board& play(const std::string& moves) {
        play_moves(position, moves);
        return *this;
    }
    std::vector<Move> legal() { return legal_moves(position); }
};

// Every byte of a position.
inline std::string bytes_of(const Position& position) {
    return std::string(reinterpret_cast<const char*>(&position), sizeof position);
}

// What is wrong between the board and everything that mirrors it; empty when nothing is.
inline std::string inconsistency(const Position& p) {
    Position fresh;
    std::memcpy(&fresh, &p, sizeof p);
    std::memset(fresh.pieces, 0, sizeof fresh.pieces);
    std::memset(fresh.piece_counts, 0, sizeof fresh.piece_counts);
    for (int s = 0; s < 64; ++s) {
        const int piece = p.board[s];
        if (!piece) continue;
        for (const int index : {0, type_of(piece)}) fresh.pieces[colour_of(piece)][index] |= bit(s);
        fresh.piece_counts[colour_of(piece)] += PIECE_UNIT[type_of(piece)];
    }
    if (bytes_of(fresh) != bytes_of(p)) return "bitboards or piece counts";
    compute_keys(fresh);
    if (bytes_of(fresh) != bytes_of(p)) return "keys";
    for (int c = 0; c < 2; ++c) {
        const int king = p.king_square[c];
        if (p.pieces[c][KING] ? !(p.pieces[c][KING] & bit(king & 63)) || king > 63 : king != NO_SQUARE) return "king";
    }
    return p.board[NO_SQUARE] ? "board[64]" : "";
}

// Visits positions of random legal games from every start position of the perft sets, Chess960 included.
template <class Visit>
void visit_random_positions(int plies, Visit visit) {
    std::mt19937 random(2024);
    for (const char* file : {"perft/standard.epd", "perft/random.epd", "perft/chess960.epd"}) {
        for (const std::string& line : read_lines(data_file(file))) {
            Board board(line);
            for (int ply = 0; ply < plies; ++ply) {
                visit(board);
                const std::vector<Move> moves = board.legal();
                if (moves.empty()) break;
                make_move(board.position, moves[random() % moves.size()]);
                board.game->search_ply = 1;
            }
        }
    }
}
