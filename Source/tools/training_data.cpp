// Conversions between EPD text and packed records, and the split of a training file by material.
#include "tools/training_data.h"

#include "frontend/base/output.h"
#include "platform/file_ops.h"
#include "platform/file_reports.h"
#include "platform/interrupts.h"
#include "platform/output_file.h"
#include "platform/words.h"
#include "search/search_thread.h"
#include "tools/line_reader.h"
#include "tools/progress.h"
#include "tools/training_file.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr std::size_t SHORTEST_LINE = 20;
constexpr int BUCKETS = 8;

// A result near 0, 0.5 or 1 that the search score strongly contradicts says more about the players than the position.
bool is_consistent(double result, double expected) {
    if (result == 0.5) return expected >= 0.1 && expected <= 0.9;
    if (result == 0.0) return expected <= 0.8;
    if (result == 1.0) return expected >= 0.2;
    return true;
}

// Packs every usable line; false when it was interrupted or memory or the file failed, which has been reported.
bool pack_lines(LineReader& reader, const char* name, TrainingBuffer& buffer) {
    Progress progress{"lines read"};
    std::string_view line;
    EpdLine epd;
    TrainingRecord record;
    std::size_t lines = 0;
    const char* fault = nullptr;
    while (!fault && buffer.count < MAX_TRAINING_RECORDS && read_line(reader, line)) {
        if (interrupted_at(progress, ++lines)) break;
        if (is_epd_comment(line) || line.size() < SHORTEST_LINE) continue;
        parse_epd(line, epd);
        if (epd_to_record(epd, board(), record) && !append_record(buffer, record)) fault = "out of memory";
    }
    end_progress(progress);
    if (reader.text.error) fault = std::strerror(reader.text.error);
    if (interrupted()) fault = "interrupted";
    if (fault) std::fprintf(stderr, "%s: %s, nothing was stored\n", name, fault);
    return !fault;
}

// Writes all records; true when every one of them is in the file.
bool store_records(const TrainingBuffer& buffer, const std::string& name) {
    constexpr std::size_t RECORDS_PER_WRITE = 65536;
    OutputFile output;
    if (!replace_output(output, name)) return false;
    for (std::size_t first = 0; first < buffer.count && !output.failed; first += RECORDS_PER_WRITE) {
        const std::size_t count = std::min(RECORDS_PER_WRITE, buffer.count - first);
        put(output, {reinterpret_cast<const char*>(buffer.records + first), count * sizeof(TrainingRecord)});
    }
    return close_output(output);
}

std::string unpacked_line(const TrainingRecord& record, const Position& position) {
    // One decimal, a tie to the even digit: ten times a float is exact in double precision.
    const long tenths = std::lrint(10 * static_cast<double>(win_probability(record.result)));
    std::string line = position_to_fen(position, false);
    line.append(" ce ").append(std::to_string(record.ce)).append("; sc ").append(std::to_string(record.sc));
    line.append(tenths == 10 ? ", gr 1." : ", gr 0.") += static_cast<char>('0' + tenths % 10);
    return line += '\n';
}

std::string bucket_name(int bucket) {
    return format_text("tmp__%d.bin", bucket);
}

// Copies every record to its bucket's file up to the first failed write; returns the number of records looked at.
std::size_t split_records(const TrainingBuffer& buffer, OutputFile (&outputs)[BUCKETS]) {
    Progress progress{"positions split"};
    std::size_t i = 0;
    for (bool written = true; i < buffer.count && written; ++i) {
        if (interrupted_at(progress, i)) break;
        if (!record_to_position(buffer.records[i], board())) continue;
        written = put(outputs[material_bucket(board())], bytes_of(buffer.records[i]));
    }
    end_progress(progress);
    return i;
}

}  // namespace

bool epd_to_record(const EpdLine& epd, Position& position, TrainingRecord& record) {
    if (epd.ce.empty() && epd.sc.empty()) return false;
    const int ce = read_int(epd.ce.empty() ? epd.sc : epd.ce, INT_MIN, INT_MAX);
    const int sc =
        std::clamp(epd.sc.empty() ? ce : read_int(epd.sc, INT_MIN, INT_MAX), -MAX_RECORD_SCORE, MAX_RECORD_SCORE);
    double result = epd.gr.empty() ? -1.0 : read_number(epd.gr, -1.0, 1e9);
    if (result < 0) result = static_cast<double>(win_probability(ce));
    if (!is_consistent(result, static_cast<double>(win_probability(sc)))) return false;

    set_position(position, epd.fen);
    if (!is_playable(position)) return false;
    record = make_training_record(position, result_to_score(result), ce, sc);
    return true;
}

int epd_to_bin(const char* input_name) {
    if (!has_extension(input_name, ".epd")) return 0;
    std::string output_name = input_name;
    output_name.replace(output_name.find(".epd"), std::string::npos, ".bin");
    if (!is_other_file(input_name, output_name)) return 0;
    catch_interrupts();
    LineReader reader;
    if (!open_lines(reader, input_name, EPD_LINE)) return report_missing(input_name, errno);

    TrainingBuffer buffer;
    if (!allocate_training_buffer(buffer)) return 0;
    print_raw("reading positions from file %s.\n", input_name);
    if (!pack_lines(reader, input_name, buffer)) return 1;
    print_raw("read %.0f positions.\n\n", static_cast<double>(buffer.count));
    if (!store_records(buffer, output_name)) return -1;
    print_raw("stored %d positions in %s.\n\n", static_cast<int>(buffer.count), output_name.c_str());
    return 0;
}

int bin_to_epd(const char* input_name) {
    if (!has_extension(input_name, ".bin")) return 0;
    std::string output_name = input_name;
    output_name.replace(output_name.find(".bin"), 4, ".epd");
    if (!is_other_file(input_name, output_name)) return 0;
    catch_interrupts();
    TrainingBuffer buffer;
    if (const auto status = read_training_file(input_name, buffer)) return *status;
    OutputFile output;
    if (!replace_output(output, output_name)) return -1;

    Progress progress{"positions unpacked"};
    std::size_t i = 0;
    for (; i < buffer.count && !output.failed; ++i) {
        if (interrupted_at(progress, i)) break;
        if (!record_to_position(buffer.records[i], board())) continue;
        put(output, unpacked_line(buffer.records[i], board()));
    }
    end_progress(progress);
    if (i < buffer.count && !output.failed) {
        drop_output(output);
        return report_interrupted(i);
    }
    return close_output(output) ? 0 : -1;
}

int material_bucket(const Position& position) {
    int pieces = 0;
    int queens = 0;
    for (const Bitboard(&own)[8] : position.pieces) {
        pieces += popcount(own[KNIGHT] | own[BISHOP] | own[ROOK] | own[QUEEN]);
        queens += popcount(own[QUEEN]);
    }
    return std::min((pieces + 1) / 2 + (pieces > 2 && queens > 0 ? 1 : 0), BUCKETS - 1);
}

int gen_train_data(const char* input_name) {
    for (int bucket = 0; bucket < BUCKETS; ++bucket) {
        if (!is_other_file(input_name, bucket_name(bucket))) return 0;
    }
    catch_interrupts();
    TrainingBuffer buffer;
    if (const auto status = read_training_file(input_name, buffer)) return *status;
    OutputFile outputs[BUCKETS];
    for (int bucket = 0; bucket < BUCKETS; ++bucket) {
        if (!create_output(outputs[bucket], bucket_name(bucket))) return -1;
    }
    const std::size_t done = split_records(buffer, outputs);
    bool written = true;
    for (OutputFile& output : outputs) written &= close_output(output);
    if (!written) return -1;
    return done == buffer.count ? 0 : report_interrupted(done);
}
