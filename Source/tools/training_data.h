// The batch tools that prepare training data: searched and filtered EPD lines, the packed form and back, and the split
// by material. Each runs once on the game record's position and returns the program's exit status: 0, also when nothing
// was done because a name lacks its extension, there is no such input, or it would be overwritten; 1 when the input
// could not be read to its end or the run was interrupted; -1 when an output file could not be created or written.
// Faults are reported on the error stream, one line each.
#pragma once

#include "tools/epd.h"
#include "tools/training_record.h"

// -mktraindata: searches the positions of one EPD file to settings.depth_limit and writes those that are quiet and
// consistent with their labels to another.
int make_train_data(const char* input_name, const char* output_name);

// -epd2bin: packs NAME.epd into NAME.bin.
int epd_to_bin(const char* input_name);
// -bin2epd: unpacks NAME.bin into NAME.epd.
int bin_to_epd(const char* input_name);

// -gentraindata: splits a training file into "tmp__0.bin" to "tmp__7.bin" by material_bucket.
int gen_train_data(const char* input_name);

// Longest part of an EPD line that the tools read.
constexpr std::size_t EPD_LINE = 253;

// An EPD line as a record, set up on `position`. False when the line has no score, its position cannot be played, or
// its result contradicts its score.
bool epd_to_record(const EpdLine& epd, Position& position, TrainingRecord& record);

// What a search says of a position, centipawns for the side to move.
struct SearchedPosition {
    int static_eval;
    int quiescence_score;
    int score;
    bool best_is_capture;
};
// True for a position to learn from: quiet, and with a result (0..1 for the side to move) that its score does not
// contradict.
bool is_training_position(const SearchedPosition& searched, double result);

// 0..7: knights, bishops, rooks and queens of both sides in pairs, one more when there are queens among at least three.
int material_bucket(const Position& position);
