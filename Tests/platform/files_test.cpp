// Mapping and the file operations, against the C++ library's own view of the same files.
#include "platform/file_map.h"
#include "platform/file_ops.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <cstring>

struct Files : testing::Test {
    const TempFolder folder;
};

TEST_F(Files, mapping_shows_the_file_and_refuses_what_cannot_be_mapped) {
    const std::string content = std::string(100000, 'x') + '\0' + "end";
    const std::string file = folder.write("data", content);
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

    const std::string missing = folder.name("missing");
    for (const std::string& bad : {missing, folder.write("empty", ""), folder.path.string()}) {
        error = {MapError::VIEWING, 0};
        EXPECT_FALSE(map_file(bad.c_str(), map, error)) << bad;
        EXPECT_NE(error.code, 0u) << bad;
        EXPECT_NE(error.step, MapError::VIEWING) << bad;
        EXPECT_EQ(error.step == MapError::OPENING, bad == missing) << bad;
        EXPECT_EQ(map.data, nullptr) << bad;
    }
    EXPECT_EQ(file_size(missing.c_str()), -1);
    EXPECT_EQ(file_size(folder.path.string().c_str()), -1);
    EXPECT_EQ(file_size(folder.write("empty", "").c_str()), 0);
}

TEST_F(Files, copy_and_delete_report_what_happened) {
    const std::string content(200001, 'q');
    const std::string from = folder.write("from", content);
    const std::string to = folder.name("to");
    EXPECT_TRUE(copy_file(from.c_str(), to.c_str()));
    EXPECT_EQ(folder.read("to"), content);
    EXPECT_FALSE(copy_file(folder.name("missing").c_str(), to.c_str()));
    EXPECT_FALSE(copy_file(from.c_str(), folder.name("no/such/folder").c_str()));
    EXPECT_FALSE(copy_file(from.c_str(), from.c_str()));
    EXPECT_EQ(folder.read("from"), content) << "a copy onto itself emptied the file";

    EXPECT_TRUE(file_exists(to.c_str()));
    EXPECT_TRUE(delete_file(to.c_str()));
    EXPECT_FALSE(file_exists(to.c_str()));
    EXPECT_TRUE(delete_file(to.c_str())) << "a file that is not there is gone";
    EXPECT_FALSE(delete_file(folder.path.string().c_str())) << "folders stay";
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
