// Random positions of given materials with the answers of the endgame tables.
#include "training/selfplay/endings.h"

#include "eval/evaluate.h"
#include "platform/file_reports.h"
#include "platform/interrupts.h"
#include "platform/output_file.h"
#include "position/board_edit.h"
#include "search/search_thread.h"
#include "syzygy/tbprobe.h"
#include "tools/progress.h"
#include "tools/training_record.h"
#include "training/random.h"
#include "training/switches.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace {

// Labels of won positions, centipawns.
constexpr int WON_SCORE = 700;
constexpr int PAWN_STEP = 80;                // for each rank of the winner's foremost pawn
constexpr int DISTANCE_STEP = 6;             // for each ply to the next capture or pawn move
constexpr int MOST_DISTANCE = 60;            // plies that count
constexpr int MOST_DISTANCE_PAWNLESS = 100;  // likewise; nothing else shows the progress there

constexpr int MOST_ATTEMPTS = 100'000;  // for one record; materials with very few suitable positions need hundreds
constexpr int TRIED = 256;              // records of each material that are made before the output is touched
constexpr std::uint64_t PROGRESS_STEP = 1024;  // records

struct Ending {
    std::string name;
    std::vector<int> pieces;  // codes, the side named first as White
};

bool read_ending(const std::string& name, Ending& ending) {
    constexpr std::string_view LETTERS = "?PNBRQK";  // by piece type
    ending.name = name;
    int colour = WHITE;
    bool king_due = true;
    for (const char letter : name) {
        if (letter == 'v' && colour == WHITE && !king_due) {
            colour = BLACK;
            king_due = true;
            continue;
        }
        const std::size_t type = LETTERS.find(letter, PAWN);
        if (type == std::string_view::npos || (type == KING) != king_due) {
            return complain_of(name, "no material; one looks like KRPvKR");
        }
        king_due = false;
        ending.pieces.push_back(make_piece(colour, static_cast<int>(type)));
    }
    if (colour == WHITE || king_due) return complain_of(name, "no material; one looks like KRPvKR");
    if (static_cast<int>(ending.pieces.size()) > tb_largest) return complain_of(name, "more men than the tables have");
    return true;
}

// The material on random squares, either side as White. False when that is no position that networks are asked about.
bool set_up(const Ending& ending, Random& random) {
    Position& position = game_record->position;
    clear_position(position);
    position.side = static_cast<std::uint8_t>(random_below(random, 2));
    const int swap = random_below(random, 2);
    for (const int piece : ending.pieces) {
        const int type = type_of(piece);
        const int square = type == PAWN ? random_between(random, A1 + 8, H8 - 8) : random_between(random, A1, H8);
        if (position.board[square] != 0) return false;
        place(position, make_piece(colour_of(piece) ^ swap, type), square);
    }
    const int side = position.side;
    if (!is_playable(position) || is_attacked(position, position.king_square[side], side ^ 1)) return false;
    compute_keys(position);
    return true;
}

int won_score(const Position& position, int winner, int distance) {
    int rank = 0;
    for (Bitboard pawns = position.pieces[winner][PAWN]; pawns != 0;) {
        rank = std::max(rank, relative_rank(winner, pop_lsb(pawns)) - 1);
    }
    const bool pawnless = (position.pieces[WHITE][PAWN] | position.pieces[BLACK][PAWN]) == 0;
    return WON_SCORE + PAWN_STEP * rank -
           DISTANCE_STEP * std::min(distance, pawnless ? MOST_DISTANCE_PAWNLESS : MOST_DISTANCE);
}

// What the tables say about the game record's position: PROBE_FROM_TABLE with its labelled record, PROBE_FROM_CAPTURE
// if a capture wins, which a search finds better than a network, or PROBE_FAILED.
int label(TrainingRecord& record) {
    const Position& position = game_record->position;
    const ProbePosition probe = make_probe_position(position);
    int success;
    const int wdl = probe_wdl(probe, success);
    if (success == PROBE_FAILED || (success == PROBE_FROM_CAPTURE && wdl > 0)) return success;
    int score = 0;  // the fifty-move rule's draws included
    if (std::abs(wdl) == 2) {
        const int distance = std::abs(probe_dtz(probe, success));
        if (success == PROBE_FAILED) return success;
        score =
            wdl > 0 ? won_score(position, position.side, distance) : -won_score(position, position.side ^ 1, distance);
    }
    record = make_training_record(position, score, score, score);
    return PROBE_FROM_TABLE;
}

// A single position without an answer ends the work: left out, it would slant what is learnt from the others.
bool make_record(const Ending& ending, Random& random, TrainingRecord& record) {
    for (int attempt = 0; attempt < MOST_ATTEMPTS; ++attempt) {
        if (!set_up(ending, random)) continue;
        const Position& position = game_record->position;
        int known = 0;
        if (known_endgame(position, position.side, known)) {
            return complain_of(ending.name, "scored by its material alone, no network is asked");
        }
        switch (label(record)) {
            case PROBE_FROM_TABLE: return true;
            case PROBE_FAILED:
                return complain_of(ending.name, "the tables do not answer, " + position_to_fen(position, false));
            default: break;
        }
    }
    return complain_of(ending.name, "no suitable position found");
}

bool try_ending(const Ending& ending, Random random) {
    TrainingRecord record{};
    for (int i = 0; i < TRIED; ++i) {
        if (!make_record(ending, random, record)) return false;
    }
    return true;
}

bool write_ending(const Ending& ending, std::uint64_t count, Random random, OutputFile& output) {
    Progress progress{"positions written"};
    TrainingRecord record{};
    std::uint64_t written = 0;
    std::uint64_t won = 0;
    std::uint64_t lost = 0;
    bool good = true;
    while (written < count && !interrupted()) {
        good = make_record(ending, random, record) && put(output, bytes_of(record));
        if (!good) break;
        won += record.sc > 0;
        lost += record.sc < 0;
        if (++written % PROGRESS_STEP == 0) show_progress(progress, written);
    }
    end_progress(progress);
    using Number = unsigned long long;
    std::printf("%s: %llu written, %llu won, %llu drawn, %llu lost\n", ending.name.c_str(), Number{written},
                Number{won}, Number{written - won - lost}, Number{lost});
    return good && !interrupted();
}

}  // namespace

bool write_endings(const SelfplayOptions& options) {
    if (!has_extension(options.endings_output, ".bin")) return false;
    std::vector<Ending> endings(options.inputs.size());
    for (std::size_t i = 0; i < endings.size(); ++i) {
        if (!read_ending(options.inputs[i], endings[i])) return false;
        if (!try_ending(endings[i], random_stream(options.seed, 0, i))) return false;
    }
    catch_interrupts();
    OutputFile output;
    if (!replace_output(output, options.endings_output)) return false;
    bool good = true;
    for (std::size_t i = 0; i < endings.size() && good; ++i) {
        good = write_ending(endings[i], options.count, random_stream(options.seed, 0, i), output);
    }
    if (!good && interrupted()) complain_of(options.endings_output, "interrupted, nothing was stored");
    return good ? close_output(output) : drop_output(output);
}
