// Unpacks training records, leaves out what the static evaluation never has to judge, and stores the rest.
#include "training/tune/tuning_set.h"

#include "eval/evaluate.h"
#include "position/see.h"
#include "training/random.h"

#include <cstdlib>
#include <memory>

namespace {

// The leading entries whose values the format of the text gives.
struct GivenEntries {
    TableId table;
    int first;
    int count;
};
constexpr int A2 = 8, A3 = 16;
constexpr GivenEntries GIVEN[] = {
    {TABLE_P1, A2, 2}, {TABLE_P2, A2, 2}, {TABLE_CP, A2, 2}, {TABLE_DP, A3, 2}, {TABLE_N, A1, 4},
    {TABLE_B, A1, 2},  {TABLE_R, A1, 2},  {TABLE_Q, A1, 2},  {TABLE_K, E1, 4},
};

// True when the side to move can win material at once.
bool is_loud(const Position& position) {
    const int c = position.side;
    for (Bitboard b = position.pieces[c ^ 1][0] & ~position.pieces[c ^ 1][KING]; b;) {
        if (see(position, c, NO_SQUARE, pop_lsb(b)) > 0) return true;
    }
    constexpr Bitboard seventh[2] = {0x00FF000000000000ULL, 0x000000000000FF00ULL};
    for (Bitboard b = position.pieces[c][PAWN] & seventh[c]; b;) {
        if (!position.board[pop_lsb(b) + pawn_push(c)]) return true;
    }
    return false;
}

// The counter of the reason why the position is of no use, or `kept`.
std::uint64_t& classify(Position& position, const TrainingRecord& record, int max_score, ReadCounts& counts) {
    if (!is_playable(position)) return counts.damaged;
    const int c = position.side;
    int score;
    if (is_attacked(position, position.king_square[c], c ^ 1)) return counts.in_check;
    if (known_endgame(position, c, score)) return counts.known_endgame;
    if (std::abs(record.sc) > max_score) return counts.decided;
    return is_loud(position) ? counts.loud : counts.kept;
}

// True when the block of records that begins with this one is to be held out.
bool is_held_out(const ReadOptions& options, std::uint64_t first_record) {
    Random random = random_stream(options.seed, 0, first_record);
    return random_percent(random, options.hold_out);
}

// What reading a position needs, too large for the stack.
struct Reader {
    GameState game;
    HceState hce;
    Position position;
    TableTrace trace;
};

}  // namespace

bool is_used_entry(int entry) {
    const int table = entry / 64, square = entry % 64;
    if (table == TABLE_K) return file_of(square) >= 4;
    if (table > TABLE_DP) return true;
    const int lowest_rank = table == TABLE_DP ? 2 : 1;  // no pawn defends the second rank
    return rank_of(square) >= lowest_rank && rank_of(square) < 7;
}

bool is_free_entry(int entry) {
    const int table = entry / 64, square = entry % 64;
    for (const GivenEntries& given : GIVEN) {
        if (given.table == table && square >= given.first && square < given.first + given.count) return false;
    }
    return is_used_entry(entry);
}

void add_position(TuningSet& set, const TrainingRecord& record, const Position& position, const TableTrace& trace) {
    const int sign = position.side == WHITE ? 1 : -1;
    TuningPosition row{};
    row.score = trace.score;
    row.mg_factor = trace.mg_factor;
    row.eg_factor = trace.eg_factor;
    row.result = win_probability(sign * record.result);
    row.first_term = static_cast<std::uint32_t>(set.terms.size());
    for (int entry = 0; entry < TABLE_ENTRIES; ++entry) {
        if (!trace.count[entry] || !is_free_entry(entry)) continue;
        set.terms.push_back(static_cast<std::uint16_t>(entry | (trace.count[entry] < 0 ? TERM_OF_BLACK : 0)));
    }
    row.terms = static_cast<std::uint16_t>(set.terms.size() - row.first_term);
    set.positions.push_back(row);
}

void add_records(std::span<const TrainingRecord> records, const ReadOptions& options, TuningSet& training,
                 TuningSet& hold_out, ReadCounts& counts) {
    constexpr std::size_t BLOCK = 1024;
    auto reader = std::make_unique<Reader>();
    Position& position = reader->position;
    init_game_state(reader->game, position);
    TuningSet* set = nullptr;
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (i % BLOCK == 0) set = is_held_out(options, counts.read) ? &hold_out : &training;
        ++counts.read;
        const bool sound = record_to_position(records[i], position);
        std::uint64_t& reason = sound ? classify(position, records[i], options.max_score, counts) : counts.damaged;
        ++reason;
        if (&reason != &counts.kept) continue;
        trace_tables(reader->hce, position, reader->trace);
        add_position(*set, records[i], position, reader->trace);
    }
}

double changed_score(const TuningSet& set, const TuningPosition& row, const TableChange& change) {
    double mg = 0, eg = 0;
    for (const std::uint16_t term : terms_of(set, row)) {
        const double sign = term & TERM_OF_BLACK ? -1.0 : 1.0;
        mg += sign * change[value_of(term)];
        eg += sign * change[value_of(term) + 1];
    }
    return static_cast<double>(row.score) + static_cast<double>(row.mg_factor) * mg +
           static_cast<double>(row.eg_factor) * eg;
}

std::array<std::uint64_t, TABLE_ENTRIES> entry_counts(const TuningSet& set) {
    std::array<std::uint64_t, TABLE_ENTRIES> counts{};
    for (const std::uint16_t term : set.terms) ++counts[value_of(term) / 2];
    return counts;
}
