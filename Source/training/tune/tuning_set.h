// The positions that the tables are fitted to, read from training records and kept as what the fit needs.
#pragma once

#include "tools/training_record.h"
#include "training/tune/table_trace.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

// A term is the entry of a table, with this bit when Black has it.
constexpr std::uint16_t TERM_OF_BLACK = 0x8000;

// One position; everything from White's view.
struct TuningPosition {
    float score;  // centipawns with the values that the fit starts from
    float mg_factor;
    float eg_factor;
    float result;              // of the game: 0, 0.5 or 1
    std::uint32_t first_term;  // into TuningSet::terms
    std::uint16_t terms;       // how many
};

struct TuningSet {
    std::vector<TuningPosition> positions;
    std::vector<std::uint16_t> terms;  // of entries that may change only
};

// Why records were left out.
struct ReadCounts {
    std::uint64_t read;
    std::uint64_t damaged;        // or not playable
    std::uint64_t in_check;       // never evaluated by a search
    std::uint64_t known_endgame;  // scored by material alone, without the tables
    std::uint64_t decided;        // search score beyond the limit
    std::uint64_t loud;           // a capture or promotion wins material: the search never stops there
    std::uint64_t kept;
};

struct ReadOptions {
    int max_score = 1500;    // centipawns; larger search scores are left out
    int hold_out = 5;        // percent of the records that are kept from the fit
    std::uint64_t seed = 1;  // of the choice which
};

// False for entries that no position uses: kings on files a-d, pawns where none can stand.
bool is_used_entry(int entry);

// False for entries that no fit changes: unused ones, and the leading ones of each table. The latter are part of the
// format of the parameter text (docs/file-formats.md), which gives their values as it gives those of the scalar
// weights: a text with others is no text of this format.
bool is_free_entry(int entry);

// Adds a traced position with its free entries; the record gives the result.
void add_position(TuningSet& set, const TrainingRecord& record, const Position& position, const TableTrace& trace);

// Adds the records of a file to the two sets; the hold-out is chosen by blocks of consecutive records, so that few
// games have positions in both.
void add_records(std::span<const TrainingRecord> records, const ReadOptions& options, TuningSet& training,
                 TuningSet& hold_out, ReadCounts& counts);

// Changes of the table values in centipawns: [2 * entry] middle game, [2 * entry + 1] end game.
using TableChange = std::array<double, 2 * TABLE_ENTRIES>;

inline std::span<const std::uint16_t> terms_of(const TuningSet& set, const TuningPosition& row) {
    return {set.terms.data() + row.first_term, row.terms};
}
// Index of the term's middle-game value in a TableChange.
inline std::size_t value_of(std::uint16_t term) {
    return 2u * (term & ~unsigned{TERM_OF_BLACK});
}

// Score of the row with the changed tables.
double changed_score(const TuningSet& set, const TuningPosition& row, const TableChange& change);

// Positions that show each entry, for one colour but not for both.
std::array<std::uint64_t, TABLE_ENTRIES> entry_counts(const TuningSet& set);
