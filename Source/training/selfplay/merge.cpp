// Merging: everything is held in memory, 40 bytes a record and at most 16 more for the index of positions.
#include "training/selfplay/merge.h"

#include "platform/file_reports.h"
#include "platform/output_file.h"
#include "position/position.h"
#include "training/files.h"
#include "training/random.h"
#include "training/switches.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

// The hold-out takes stretches of successive records, since the positions of one game stand together and would
// otherwise lie on both sides.
constexpr std::size_t HOLDOUT_STRETCH = 4096;

constexpr std::size_t POSITION_BYTES = offsetof(TrainingRecord, result);
constexpr std::size_t MOST_RECORDS = 0xFFFFFFFE;

struct Counts {
    std::size_t read = 0;
    std::size_t damaged = 0;
    std::size_t duplicates = 0;
};

// Set of the positions of a list of records: open addressing over record numbers.
class PositionSet {
public:
    explicit PositionSet(std::size_t most) : slots_(std::bit_ceil(2 * most + 2)) {}

    // True when no earlier record has the position of records[number].
    bool insert(const std::vector<TrainingRecord>& records, std::size_t number) {
        const TrainingRecord& record = records[number];
        const std::size_t mask = slots_.size() - 1;
        for (std::size_t i = hash(record) & mask;; i = (i + 1) & mask) {
            if (slots_[i] == 0) {
                slots_[i] = static_cast<std::uint32_t>(number + 1);
                return true;
            }
            if (std::memcmp(&records[slots_[i] - 1], &record, POSITION_BYTES) == 0) return false;
        }
    }

private:
    static std::size_t hash(const TrainingRecord& record) {
        std::uint64_t words[5] = {};
        std::memcpy(words, &record, POSITION_BYTES);
        Random mixer{0};
        for (const std::uint64_t word : words) mixer.state = next_random(mixer) ^ word;
        return next_random(mixer);
    }
    std::vector<std::uint32_t> slots_;  // record number + 1; 0: empty
};

bool read_input(const std::string& name, std::vector<TrainingRecord>& records) {
    const std::size_t before = records.size();
    if (const std::string fault = read_record_file(name, MOST_RECORDS, records); !fault.empty()) {
        return complain_of(name, fault);
    }
    if (records.size() == MOST_RECORDS) return complain_of(name, "too many records");
    std::printf("%s: %zu records\n", name.c_str(), records.size() - before);
    return true;
}

bool is_sound(const TrainingRecord& record, Position& scratch) {
    return record_to_position(record, scratch) && is_playable(scratch);
}

// Leaves the sound and new records, in order.
void clean(std::vector<TrainingRecord>& records, Counts& counts) {
    static GameState state;
    static Position scratch;
    init_game_state(state, scratch);
    PositionSet seen(records.size());
    std::size_t kept = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
        records[kept] = records[i];
        if (!is_sound(records[kept], scratch)) {
            ++counts.damaged;
        } else if (!seen.insert(records, kept)) {
            ++counts.duplicates;
        } else {
            ++kept;
        }
    }
    records.resize(kept);
}

// Moves `percent` of the stretches to the hold-out.
std::vector<TrainingRecord> take_holdout(std::vector<TrainingRecord>& records, int percent, Random& random) {
    std::vector<TrainingRecord> holdout;
    if (percent == 0) return holdout;
    std::size_t kept = 0;
    for (std::size_t begin = 0; begin < records.size(); begin += HOLDOUT_STRETCH) {
        const std::size_t end = std::min(begin + HOLDOUT_STRETCH, records.size());
        const bool taken = random_percent(random, percent);
        for (std::size_t i = begin; i < end; ++i) {
            if (taken) {
                holdout.push_back(records[i]);
            } else {
                records[kept++] = records[i];
            }
        }
    }
    records.resize(kept);
    return holdout;
}

void shuffle(std::vector<TrainingRecord>& records, Random& random) {
    for (std::size_t i = records.size(); i > 1; --i) {
        const auto other = static_cast<std::size_t>(next_random(random) % i);
        std::swap(records[i - 1], records[other]);
    }
}

// FNV-1a, 64 bits.
std::uint64_t checksum(const std::vector<TrainingRecord>& records) {
    std::uint64_t sum = 0xCBF29CE484222325ULL;
    const auto* const bytes = reinterpret_cast<const unsigned char*>(records.data());
    for (std::size_t i = 0; i < records.size() * sizeof(TrainingRecord); ++i) sum = (sum ^ bytes[i]) * 0x100000001B3ULL;
    return sum;
}

bool write_file(const std::string& name, const std::vector<TrainingRecord>& records) {
    OutputFile file;
    if (!replace_output(file, name)) return false;
    for (const TrainingRecord& record : records) put(file, bytes_of(record));
    if (!close_output(file)) return false;
    std::printf("%s: %zu records, checksum %016llx\n", name.c_str(), records.size(),
                static_cast<unsigned long long>(checksum(records)));
    return true;
}

std::string holdout_name(const SelfplayOptions& options) {
    return options.merge_output.substr(0, options.merge_output.size() - 4) + "-holdout.bin";
}

bool names_are_good(const SelfplayOptions& options) {
    if (!options.merge_output.ends_with(".bin")) return complain_of(options.merge_output, "the name must end in .bin");
    for (const std::string& input : options.inputs) {
        if (!has_extension(input, ".bin") || !is_other_file(input, options.merge_output) ||
            !is_other_file(input, holdout_name(options))) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool merge_records(const SelfplayOptions& options) {
    if (!names_are_good(options)) return false;
    std::vector<TrainingRecord> records;
    // Room for all inputs at once: growing step by step would hold them twice.
    std::size_t room = 0;
    for (const std::string& input : options.inputs) room += room_to_read(input);
    records.reserve(room);
    for (const std::string& input : options.inputs) {
        if (!read_input(input, records)) return false;
    }
    Counts counts;
    counts.read = records.size();
    clean(records, counts);
    std::printf("%zu read, %zu damaged, %zu duplicates, %zu left\n", counts.read, counts.damaged, counts.duplicates,
                records.size());

    Random random = random_stream(options.seed, 0, 0);
    std::vector<TrainingRecord> holdout = take_holdout(records, options.holdout, random);
    shuffle(records, random);
    shuffle(holdout, random);
    if (!write_file(options.merge_output, records)) return false;
    return options.holdout == 0 || write_file(holdout_name(options), holdout);
}
