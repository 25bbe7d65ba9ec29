// Fills the evaluation network from the image inside the program, from a file or with fresh values.
#include "eval/network.h"

#include "eval/evaluate.h"
#include "eval/network_bounds.h"
#include "frontend/base/output.h"
#include "frontend/base/program_end.h"
#include "frontend/base/settings.h"
#include "platform/file_map.h"
#include "platform/file_ops.h"
#include "platform/memory.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>

Network network;

namespace {

constexpr std::size_t HEADER_BYTES = 24;
constexpr int INPUTS = 768;  // of one king bucket: 2 colours, 6 types, 64 squares
constexpr int MAX_HIDDEN = 8192;

LargeBlock values_block;

void free_values() {
    free_large(values_block);
    network.values = nullptr;
    network.input_weights = network.output_weights = network.biases = nullptr;
    network.complete = false;
}

// The value count behind the shape is not used.
void read_header(const unsigned char* bytes) {
    std::int16_t field[10];
    std::memcpy(field, bytes, sizeof field);
    network.format_id = field[0];
    network.quantisation = field[1];
    network.second_quantisation = field[2];
    network.scale = field[3];
    // Some writers store the total number of inputs in place of the number of buckets.
    network.king_buckets = field[4] >= INPUTS ? field[4] / INPUTS : field[4];
    network.reserved1 = field[5];
    network.hidden = field[6];
    network.reserved3 = field[7];
    network.reserved4 = field[8];
    network.reserved2 = field[9];
}

// Derives the counts from the shape. False for a shape that no inference can use or that needs more than the
// `available` bytes of values.
bool set_counts(std::int64_t available) {
    if (network.hidden % 8 != 0 || network.hidden < 8 || network.hidden > MAX_HIDDEN) return false;
    if (network.king_buckets < 1 || network.quantisation == 0) return false;
    const std::int64_t inputs = std::int64_t{network.king_buckets} * INPUTS * network.hidden;
    const std::int64_t total = inputs + 18 * network.hidden;
    if (total > std::numeric_limits<std::int32_t>::max() || total * 2 > available) return false;
    network.hidden2 = 2 * network.hidden;
    network.input_weight_count = static_cast<std::int32_t>(inputs);
    network.output_weight_count = 16 * network.hidden;
    network.bias_count = 2 * network.hidden;
    network.value_count = static_cast<std::int32_t>(total);
    return true;
}

std::size_t value_bytes() {
    return static_cast<std::size_t>(network.value_count) * sizeof(std::int16_t);
}

// False, and the program ends, without memory.
bool allocate_values() {
    if (!allocate_large(value_bytes(), values_block)) {
        print_line("allocating memory for net failed!");
        end_program(1);
        return false;
    }
    network.values = static_cast<std::int16_t*>(values_block.data);
    network.input_weights = network.values;
    network.output_weights = network.input_weights + network.input_weight_count;
    network.biases = network.output_weights + network.output_weight_count;
    return true;
}

void load_embedded() {
    read_header(embedded_network);
    if (!set_counts(embedded_network_end - embedded_network - static_cast<std::ptrdiff_t>(HEADER_BYTES))) return;
    if (!allocate_values()) return;
    std::memcpy(network.values, embedded_network + HEADER_BYTES, value_bytes());
    network.complete = true;
    print_line("info string loaded embedded network");
}

void load_file(const char* name) {
    const OwnedFile file(open_file(name, "rb"));
    if (!file) {
        print_format("info string can't open %s", name);
        end_program(0);
        return;
    }
    unsigned char bytes[HEADER_BYTES];
    if (std::fread(bytes, 1, HEADER_BYTES, file.get()) == HEADER_BYTES) {
        read_header(bytes);
        if (set_counts(file_size(name) - static_cast<std::int64_t>(HEADER_BYTES)) && allocate_values()) {
            network.complete = std::fread(network.values, 1, value_bytes(), file.get()) == value_bytes();
        }
    }
    if (network.complete) print_format("info string loaded %s", name);
}

// Small values, the same in every run: close enough to zero that no sum saturates, different enough that
// training can tell the hidden units apart.
void create_new() {
    print_line("creating new net...");
    constexpr std::int16_t FRESH_HEADER[HEADER_BYTES / 2] = {757, 2048, 2048, 400, 2, 0, 1024, 0, 0, 5};
    read_header(reinterpret_cast<const unsigned char*>(FRESH_HEADER));
    if (!set_counts(std::numeric_limits<std::int64_t>::max()) || !allocate_values()) return;
    std::uint64_t state = 0x9E3779B97F4A7C15ULL;
    for (std::int32_t i = 0; i < network.value_count; ++i) {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        network.values[i] = static_cast<std::int16_t>(static_cast<int>(state >> 58) - 32);  // -32..31
    }
    network.complete = true;
}

}  // namespace

void load_network() {
    free_values();
    ++network.generation;
    invalidate_eval_caches();
    if (std::strcmp(settings.nn_file, "embedded") == 0) {
        load_embedded();
    } else if (std::strcmp(settings.nn_file, "new") == 0) {
        create_new();
    } else {
        load_file(settings.nn_file);
    }
    network.exact_sums =
        network.complete && largest_first_layer_sum(network, 0) <= std::numeric_limits<std::int16_t>::max();
}
