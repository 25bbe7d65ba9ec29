// A folder for the files of one test, removed with them.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

struct TempFolder {
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("tarn_test_" + std::to_string(std::random_device{}()));
    const std::filesystem::path before = std::filesystem::current_path();

    TempFolder() { std::filesystem::create_directories(path); }
    TempFolder(const TempFolder&) = delete;
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::current_path(before, ignored);
        std::filesystem::remove_all(path, ignored);
    }
    // Makes it the current folder.
    void enter() const { std::filesystem::current_path(path); }

    std::string name(const std::string& file) const { return (path / file).string(); }
    // Creates a file; returns its name.
    std::string write(const std::string& file, const std::string& bytes) const {
        std::ofstream(name(file), std::ios::binary) << bytes;
        return name(file);
    }
    std::string read(const std::string& file) const {
        std::ifstream in(name(file), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
};
