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
    EXPECT_EQ(unmap_file(map).view, 0u);
    EXPECT_EQ(map.data, nullptr);

    const std::string missing = folder.name("missing");
    const struct {
        std::string name;
        MapError::Step step;
        int size;
    } cases[] = {{missing, MapError::OPENING, -1},
                 {folder.write("empty", ""), MapError::MAPPING, 0},
                 {folder.path.string(), MapError::MAPPING, -1}};
    for (const auto& c : cases) {
        error = {MapError::VIEWING, 0};
        EXPECT_FALSE(map_file(c.name.c_str(), map, error)) << c.name;
        EXPECT_NE(error.code, 0u) << c.name;
        EXPECT_EQ(error.step, c.step) << c.name;
        EXPECT_EQ(map.data, nullptr) << c.name;
        EXPECT_EQ(file_size(c.name.c_str()), c.size) << c.name;
    }
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
