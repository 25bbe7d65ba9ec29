// Checkpoint file: a header of fixed size, then the parameters and both moments as they lie in memory.
#include "training/train/checkpoint.h"

#include "platform/file_ops.h"
#include "training/files.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

constexpr char MAGIC[8] = {'T', 'A', 'R', 'N', 'C', 'K', 'P', '1'};
constexpr int MAX_HIDDEN = 8192;

struct Header {
    char magic[8];
    std::int32_t hidden;
    std::int32_t batch;
    std::uint64_t seed;
    std::uint64_t training_records;
    std::int64_t step;
    std::int32_t epoch;
    std::int32_t epoch_step;
};
static_assert(sizeof(Header) == 48);

std::string_view bytes_of(const AlignedArray<float>& array) {
    return {reinterpret_cast<const char*>(array.data()), array.size() * sizeof(float)};
}

bool read_array(std::FILE* file, AlignedArray<float>& array) {
    return std::fread(array.data(), sizeof(float), array.size(), file) == array.size();
}

}  // namespace

bool write_checkpoint(const std::string& name, const RunIdentity& identity, const TrainingState& state) {
    Header header{};
    std::memcpy(header.magic, MAGIC, sizeof MAGIC);
    header.hidden = identity.hidden;
    header.batch = identity.batch;
    header.seed = identity.seed;
    header.training_records = identity.training_records;
    header.step = state.step;
    header.epoch = state.epoch;
    header.epoch_step = state.epoch_step;
    return write_file_atomically(name, {{reinterpret_cast<const char*>(&header), sizeof header},
                                        bytes_of(state.model.parameter),
                                        bytes_of(state.first_moment),
                                        bytes_of(state.second_moment)});
}

std::string read_checkpoint(const std::string& name, RunIdentity& identity, TrainingState& state) {
    std::FILE* const file = open_file(name.c_str(), "rb");
    if (!file) return "can't open " + name;
    Header header;
    bool complete = std::fread(&header, sizeof header, 1, file) == 1 &&
                    std::memcmp(header.magic, MAGIC, sizeof MAGIC) == 0 && header.hidden > 0 &&
                    header.hidden <= MAX_HIDDEN && header.hidden % COLUMNS == 0 && header.step >= 0 &&
                    header.epoch >= 0 && header.epoch_step >= 0;
    if (complete) {
        identity = {header.hidden, header.batch, header.seed, header.training_records};
        state = make_training_state(header.hidden);
        state.step = header.step;
        state.epoch = header.epoch;
        state.epoch_step = header.epoch_step;
        complete = read_array(file, state.model.parameter) && read_array(file, state.first_moment) &&
                   read_array(file, state.second_moment);
    }
    std::fclose(file);
    if (!complete) return name + " is no complete checkpoint";
    for (int b = 0; b < state.model.blocks(); ++b) settle_block(state.model, b);
    return {};
}
