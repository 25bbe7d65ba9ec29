// Mapping and the file operations, against the C++ library's own view of the same files.
#include "platform/file_map.h"
#include "platform/file_ops.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

namespace fs = std::filesystem;

class Files : public testing::Test {
protected:
    void SetUp() override {
        folder_ = fs::temp_directory_path() /
                  ("tarn_files_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
                   testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(folder_);
    }
    void TearDown() override { fs::remove_all(folder_); }

    std::string write(const std::string& name, const std::string& content) {
        const fs::path path = folder_ / name;
        std::ofstream(path, std::ios::binary) << content;
        return path.string();
    }
    static std::string read(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    fs::path folder_;
};

TEST_F(Files, mapping_shows_the_file_and_refuses_what_cannot_be_mapped) {
    const std::string content = std::string(100000, 'x') + '\0' + "end";
    const std::string file = write("data", content);
    FileMap map;
    MapError error{};
    ASSERT_TRUE(map_file(file.c_str(), map, error));
    ASSERT_EQ(map.size, content.size());
    EXPECT_EQ(std::memcmp(map.data, content.data(), content.size()), 0);
    EXPECT_EQ(file_size(file.c_str()), 100004);
    for (int times = 0; times < 2; ++times) {  // the second time there is nothing to let go of
        const UnmapErrors errors = unmap_file(map);
        EXPECT_EQ(errors.view, 0u);
        EXPECT_EQ(errors.handle, 0u);
        EXPECT_EQ(map.data, nullptr);
    }

    const std::string missing = (folder_ / "missing").string();
    for (const std::string& bad : {missing, write("empty", ""), folder_.string()}) {
        error = {MapError::VIEWING, 0};
        EXPECT_FALSE(map_file(bad.c_str(), map, error)) << bad;
        EXPECT_NE(error.code, 0u) << bad;
        EXPECT_NE(error.step, MapError::VIEWING) << bad;
        EXPECT_EQ(error.step == MapError::OPENING, bad == missing) << bad;
        EXPECT_EQ(map.data, nullptr) << bad;
    }
    EXPECT_EQ(file_size(missing.c_str()), -1);
    EXPECT_EQ(file_size(folder_.string().c_str()), -1);
    EXPECT_EQ(file_size(write("empty", "").c_str()), 0);
}

TEST_F(Files, copy_and_delete_report_what_happened) {
    const std::string content(200001, 'q');
    const std::string from = write("from", content);
    const std::string to = (folder_ / "to").string();
    EXPECT_TRUE(copy_file(from.c_str(), to.c_str()));
    EXPECT_EQ(read(to), content);
    EXPECT_FALSE(copy_file((folder_ / "missing").string().c_str(), to.c_str()));
    EXPECT_FALSE(copy_file(from.c_str(), (folder_ / "no" / "such" / "folder").string().c_str()));
    EXPECT_FALSE(copy_file(from.c_str(), from.c_str()));
    EXPECT_EQ(read(from), content) << "a copy onto itself emptied the file";

    EXPECT_TRUE(file_exists(to.c_str()));
    EXPECT_TRUE(delete_file(to.c_str()));
    EXPECT_FALSE(file_exists(to.c_str()));
    EXPECT_TRUE(delete_file(to.c_str())) << "a file that is not there is gone";
    const fs::path empty = folder_ / "empty";
    fs::create_directories(empty);
    EXPECT_FALSE(delete_file(empty.string().c_str())) << "folders stay";
    EXPECT_TRUE(fs::exists(empty));
}

TEST_F(Files, path_lists_split_at_this_platforms_separators) {
    EXPECT_TRUE(is_path_separator(';'));
#if defined(_WIN32)
    EXPECT_FALSE(is_path_separator(':'));
    EXPECT_EQ(DIRECTORY_SEPARATOR, '\\');
#else
    EXPECT_TRUE(is_path_separator(':'));
    EXPECT_EQ(DIRECTORY_SEPARATOR, '/');
#endif
    EXPECT_FALSE(is_path_separator('/'));
}
