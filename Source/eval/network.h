// The evaluation network: its header, its weights and where they come from. Written only by load_network,
// on the main thread while no search runs; search threads read it freely.
#pragma once

#include <cstdint>

// The header stands in a network file in the order of `read_header`, every field but the count with 16 bits. What
// inference does not use is kept and written back.
struct Network {
    std::int16_t format_id = 0;
    std::int16_t quantisation = 0;  // Q: scale of the output weights
    std::int16_t second_quantisation = 0;
    std::int16_t scale = 0;         // S: centipawns per unit of output
    std::int32_t king_buckets = 0;  // KB, after division by 768 where a file gives the total number of inputs
    std::int32_t reserved1 = 0;
    std::int32_t hidden = 0;  // H, width of one perspective
    std::int32_t reserved2 = 0;
    std::int32_t reserved3 = 0;
    std::int32_t hidden2 = 0;  // 2H: length of one output row
    std::int32_t reserved4 = 0;
    std::int32_t value_count = 0;                  // computed from the shape, whatever a file says
    std::int32_t input_weight_count = 0;           // KB * 768 * H
    std::int32_t output_weight_count = 0;          // 16 H
    std::int32_t bias_count = 0;                   // 2 H
    std::int16_t* values = nullptr;                // owned; one large block
    const std::int16_t* input_weights = nullptr;   // KB * 768 rows of H
    const std::int16_t* output_weights = nullptr;  // 8 rows of 2H; rows 0-4 are used
    const std::int16_t* biases = nullptr;          // H for White's perspective, H for Black's
    bool exact_sums = false;                       // largest_first_layer_sum fits 16 bits: nothing saturates
    bool complete = false;                         // every value was read; otherwise nothing may evaluate with it
    std::uint32_t generation = 0;                  // counts loads, so that per-thread state and caches notice a change
};

extern Network network;

// The image that the build puts into the program: a network file, header included.
extern const unsigned char embedded_network[];
extern const unsigned char embedded_network_end[];

// Replaces the network by the source that settings.nn_file names ("embedded", "new" or a file) and reports on
// it. A named file that cannot be opened ends the program with status 0; a short or impossible file leaves
// the network incomplete.
void load_network();
