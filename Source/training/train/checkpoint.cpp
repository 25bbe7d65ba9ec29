// Checkpoint file: a header of fixed size, then the parameters and both moments as they lie in memory.
#include "training/train/checkpoint.h"

#include "platform/file_ops.h"
#include "platform/file_path.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

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

bool read_array(std::FILE* file, AlignedArray<float>& array) {
    return std::fread(array.data(), sizeof(float), array.size(), file) == array.size();
}

}  // namespace

bool write_file_atomically(const std::string& name, const void* const* part, const std::size_t* bytes, int parts) {
    const std::string unfinished = name + ".tmp";
    std::FILE* const file = open_file(unfinished.c_str(), "wb");
    if (!file) return false;
    bool written = true;
    for (int i = 0; i < parts; ++i) written &= std::fwrite(part[i], 1, bytes[i], file) == bytes[i];
    written &= std::fclose(file) == 0;
    std::error_code error;
    if (written) std::filesystem::rename(file_path(unfinished), file_path(name), error);
    if (!written || error) delete_file(unfinished.c_str());
    return written && !error;
}

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
    const std::size_t array_bytes = state.model.parameter.size() * sizeof(float);
    const void* const part[] = {&header, state.model.parameter.data(), state.first_moment.data(),
                                state.second_moment.data()};
    const std::size_t bytes[] = {sizeof header, array_bytes, array_bytes, array_bytes};
    return write_file_atomically(name, part, bytes, 4);
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
