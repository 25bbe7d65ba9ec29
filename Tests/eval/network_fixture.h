// Network files made by hand, and the loader run on them with its output captured.
#pragma once

#include "captured.h"
#include "eval/evaluate.h"
#include "eval/network.h"
#include "eval_fixture.h"
#include "frontend/base/settings.h"
#include "temp_folder.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

// The header of a network file as it is stored; the defaults are those of a small valid one.
struct FileHeader {
    std::int16_t format_id = 752, quantisation = 2048, second_quantisation = 2048, scale = 400;
    std::int16_t king_buckets = 2, reserved1 = 5, hidden = 8, reserved3 = 0, reserved4 = 0, reserved2 = 5;
    std::int32_t count = -1;  // a wrong count must not matter
};

struct NetworkFile : FileHeader {
    std::vector<std::int16_t> values;

    std::size_t full_size() const {
        const int buckets = king_buckets > 767 ? king_buckets / 768 : king_buckets;
        return static_cast<std::size_t>(buckets * 768 + 18) * static_cast<std::size_t>(hidden);
    }
    std::string bytes() const {
        std::string all(24 + 2 * values.size(), '\0');
        const FileHeader& header = *this;
        std::memcpy(all.data(), &header, 24);
        std::copy(values.begin(), values.end(), reinterpret_cast<std::int16_t*>(all.data() + 24));
        return all;
    }
    // Random values of every size up to the limits, so that sums saturate.
    void fill_wild(unsigned seed) {
        std::mt19937 random(seed);
        values.resize(full_size());
        for (std::int16_t& v : values) {
            v = static_cast<std::int16_t>(random());
            if (random() % 4) v = static_cast<std::int16_t>(v >> (random() % 8));
        }
        values[5] = -32768;
    }
};

struct NetworkFixture : EvalFixture {
    std::unique_ptr<EvalState> eval = std::make_unique<EvalState>();
    const TempFolder folder;
    const Settings saved_settings = settings;

    ~NetworkFixture() override {
        free_network_state(eval->network);
        settings = saved_settings;
    }

    // Loads what NN_File would name and returns what was printed.
    static std::string load(const std::string& name) {
        std::snprintf(settings.nn_file, sizeof settings.nn_file, "%s", name.c_str());
        return printed(load_network);
    }
    std::string write(const std::string& bytes) const { return folder.write("net.bin", bytes); }
    std::string load(const NetworkFile& file) const { return load(write(file.bytes())); }
    // A network of zeros but for what the test then writes to network.values.
    void load_zeros(NetworkFile file = {}) const {
        file.values.assign(file.full_size(), 0);
        load(file);
        ASSERT_TRUE(network.complete);
    }

    int network_score(std::string_view fen, int ply = 1) {
        set_position(position, fen);
        return nn_evaluate(eval->network, position, ply);
    }
    // A score that does not depend on the position: unit 0 is 1 and only the half of the side to move sees it.
    void load_constant(std::int16_t score) const {
        NetworkFile file;
        file.quantisation = file.scale = 1;
        load_zeros(file);
        const std::int32_t biases = network.input_weight_count + network.output_weight_count;
        network.values[biases] = network.values[biases + network.hidden] = 1;
        for (int row = 0; row < 5; ++row) network.values[network.input_weight_count + row * network.hidden2] = score;
    }
};
