// Tools run in-process on files of a folder of their own, with their output captured.
#pragma once

#include "search/engine_fixture.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

class ToolTest : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        old_folder_ = std::filesystem::current_path();
        folder_ = std::filesystem::temp_directory_path() / ("tarn_tools_" + std::to_string(std::random_device{}()));
        std::filesystem::create_directories(folder_);
        std::filesystem::current_path(folder_);
    }
    void TearDown() override {
        std::filesystem::current_path(old_folder_);
        std::filesystem::remove_all(folder_);
    }

    std::string path(const std::string& name) const { return (folder_ / name).string(); }
    // Creates a file; returns its path.
    std::string write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
        return path(name);
    }
    std::string read(const std::string& name) const {
        std::ifstream in(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    // What the action writes to standard output, and to the error stream.
    template <class Action>
    static std::string printed(Action action) {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }
    template <class Action>
    static std::string errors(Action action) {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }

    std::filesystem::path old_folder_;
    std::filesystem::path folder_;
};
