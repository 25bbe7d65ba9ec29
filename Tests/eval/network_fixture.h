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
    // A score that does not depend on the position: unit 0 is 1 and only the half of the side to move sees it.
    static NetworkFile of_one_score(std::int16_t score) {
        NetworkFile file;
        file.quantisation = file.scale = 1;
        file.values.resize(file.full_size());
        const std::size_t width = file.hidden, biases = file.values.size() - 2 * width, outputs = biases - 16 * width;
        file.values[biases] = file.values[biases + width] = 1;
        for (int row = 0; row < 5; ++row) file.values[outputs + row * 2 * width] = score;
        return file;
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
    // Sums that come close to the limits on both sides, 32736 and the bias for the first units.
    void fill_tight(int bias) {
        std::mt19937 random(1);
        values.resize(full_size());
        const std::size_t biases = values.size() - 2 * hidden;
        for (std::size_t i = 0; i < values.size(); ++i) {
            const int unit = static_cast<int>(i % hidden);
            const int size = i >= biases ? bias : unit < 2 ? 1023 : 992 + static_cast<int>(random() % 32);
            values[i] = static_cast<std::int16_t>(unit % 2 ? -size : size);
        }
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
    void load_constant(std::int16_t score) const { load(NetworkFile::of_one_score(score)); }
};
