// Reads, checks, parts and shuffles training records.
#include "training/train/training_set.h"

#include "platform/file_path.h"
#include "training/files.h"
#include "training/random.h"
#include "training/train/features.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <system_error>

namespace {

namespace fs = std::filesystem;

// Of the board and the side to move, in 0..1.
double position_hash(const TrainingRecord& record) {
    std::uint64_t hash = record.side_castling >> 4;
    for (int i = 0; i < 32; i += 8) {
        std::uint64_t part;
        std::memcpy(&part, record.board + i, sizeof part);
        hash = mix_bits(hash * RANDOM_STEP + part);
    }
    return static_cast<double>(hash) * 0x1p-64;
}

}  // namespace

std::string read_records(const std::string& path, std::size_t limit, std::vector<TrainingRecord>& records) {
    std::vector<std::string> names;
    std::error_code error;
    if (!fs::is_directory(file_path(path), error)) {
        names.push_back(path);
    } else {
        for (fs::directory_iterator entry(file_path(path), error), end; !error && entry != end;
             entry.increment(error)) {
            if (entry->path().extension() == ".bin") names.push_back(file_name(entry->path()));
        }
        if (error) return path + ": cannot be read";
    }
    if (names.empty()) return path + ": no .bin file";
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        const std::string fault = read_record_file(name, limit, records);
        if (!fault.empty()) return std::string(name).append(": ").append(fault);
    }
    return {};
}

TrainingSet make_training_set(std::vector<TrainingRecord> records, double held_out_share, std::size_t least,
                              ThreadTeam& team) {
    enum Kind : std::uint8_t { TRAIN, HOLD_OUT, REJECT };
    constexpr std::size_t CHUNK = 1 << 16;
    TrainingSet set;
    set.records = std::move(records);
    const std::size_t total = set.records.size();
    const double share =
        std::min(0.5, std::max(held_out_share, static_cast<double>(least) / static_cast<double>(total + 1)));
    std::vector<Kind> kind(total);
    team.run(static_cast<int>((total + CHUNK - 1) / CHUNK), [&](int chunk, int) {
        const std::size_t first = static_cast<std::size_t>(chunk) * CHUNK;
        for (std::size_t i = first; i < std::min(total, first + CHUNK); ++i) {
            Features features;
            kind[i] = !read_features(set.records[i], features) ? REJECT
                      : position_hash(set.records[i]) < share  ? HOLD_OUT
                                                               : TRAIN;
        }
    });

    std::vector<TrainingRecord> held_out;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < total; ++i) {
        if (kind[i] == TRAIN) set.records[kept++] = set.records[i];
        if (kind[i] == HOLD_OUT) held_out.push_back(set.records[i]);
    }
    set.training = kept;
    set.rejected = total - kept - held_out.size();
    set.records.resize(kept);
    set.records.insert(set.records.end(), held_out.begin(), held_out.end());
    return set;
}

void shuffle_order(std::vector<std::uint32_t>& order, std::size_t count, std::uint64_t seed, int epoch) {
    order.resize(count);
    std::iota(order.begin(), order.end(), 0u);
    Random random{mix_bits(seed * RANDOM_STEP + static_cast<std::uint64_t>(epoch) + 1)};
    for (std::size_t i = count; i > 1; --i) { std::swap(order[i - 1], order[random_index(random, i)]); }
}
