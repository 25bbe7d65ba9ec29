// Varying the positions of record files.
#include "training/selfplay/vary.h"

#include "eval/evaluate.h"
#include "platform/file_ops.h"
#include "platform/file_reports.h"
#include "platform/interrupts.h"
#include "platform/output_file.h"
#include "search/game_stack.h"
#include "search/search_thread.h"
#include "tools/progress.h"
#include "training/files.h"
#include "training/selfplay/random_moves.h"
#include "training/switches.h"

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr int MOST_RANDOM_MOVES = 4;
constexpr std::size_t PROGRESS_STEP = 1024;  // records

struct Counts {
    std::size_t read = 0;
    std::size_t damaged = 0;
    std::size_t written = 0;
};

// The game record's position with its static score, if it is one that networks score.
bool label(TrainingRecord& record) {
    Position& position = game_record->position;
    int known = 0;
    if (is_attacked(position, position.king_square[position.side], position.side ^ 1)) return false;
    if (known_endgame(position, position.side, known)) return false;
    const int score = evaluate(game_record->eval, position, position.side, 1, false);
    record = make_training_record(position, score, score, score);
    record.result = record.sc;
    return true;
}

// False when the output cannot be written.
bool write_variations(const TrainingRecord& record, int copies, Random& random, OutputFile& output, Counts& counts) {
    Position& position = game_record->position;
    ++counts.read;
    if (!record_to_position(record, position) || !is_playable(position)) {
        ++counts.damaged;
        return true;
    }
    compute_keys(position);
    if (!game_goes_on()) return true;
    for (int i = 0; i < copies; ++i) {
        TrainingRecord variation;
        int made = make_random_moves(random, MOST_RANDOM_MOVES);
        if (made > 0 && label(variation)) {
            if (!put(output, bytes_of(variation))) return false;
            ++counts.written;
        }
        for (; made > 0; --made) unmake_game_move();
    }
    return true;
}

bool vary_file(const SelfplayOptions& options, const std::string& name, Random random, OutputFile& output,
               Counts& counts) {
    std::vector<TrainingRecord> records;
    const std::string fault = read_record_file(name, SIZE_MAX, records);
    if (!fault.empty()) return complain_of(name, fault);
    Progress progress{"positions varied"};
    bool good = true;
    for (const TrainingRecord& record : records) {
        if (interrupted()) break;
        good = write_variations(record, options.copies, random, output, counts);
        if (!good) break;
        if (counts.read % PROGRESS_STEP == 0) show_progress(progress, counts.read);
    }
    end_progress(progress);
    return good && !interrupted();
}

}  // namespace

bool vary_records(const SelfplayOptions& options) {
    if (!has_extension(options.vary_output, ".bin")) return false;
    for (const std::string& input : options.inputs) {
        if (!has_extension(input, ".bin") || !is_other_file(input, options.vary_output)) return false;
        if (!file_exists(input.c_str())) return complain_of(input, "cannot be opened");
    }
    game_record->eval.no_contempt = 1;
    catch_interrupts();
    OutputFile output;
    if (!replace_output(output, options.vary_output)) return false;
    Counts counts;
    bool good = true;
    for (std::size_t i = 0; i < options.inputs.size() && good; ++i) {
        good = vary_file(options, options.inputs[i], random_stream(options.seed, 0, i), output, counts);
    }
    std::printf("%zu read, %zu damaged, %zu written\n", counts.read, counts.damaged, counts.written);
    if (!good && interrupted()) complain_of(options.vary_output, "interrupted, nothing was stored");
    return good ? close_output(output) : drop_output(output);
}
