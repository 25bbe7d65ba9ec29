// The file operations, and files that cannot be mapped. What mappings show is in map_guard_test.cpp.
#include "platform/file_map.h"
#include "platform/file_ops.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <tuple>

struct Files : testing::Test {
    const TempFolder folder;

    Files() { folder.enter(); }
};

TEST_F(Files, what_cannot_be_mapped_is_refused) {
    folder.write("empty", "");
    const std::tuple<const char*, MapError::Step, int> refused[] = {
        {"missing", MapError::OPENING, -1}, {"empty", MapError::MAPPING, 0}, {".", MapError::MAPPING, -1}};
    for (const auto& [name, step, size] : refused) {
        FileMap map;
        MapError error{MapError::VIEWING, 0};
        EXPECT_FALSE(map_file(name, map, error)) << name;
        EXPECT_TRUE(error.code != 0 && error.step == step && map.data == nullptr) << name;
        EXPECT_EQ(file_size(name), size) << name;
    }
}

TEST_F(Files, copy_and_delete_report_what_happened) {
    const std::string content(200001, 'q');
    folder.write("from", content);
    EXPECT_TRUE(copy_file("from", "to") && file_exists("to"));
    EXPECT_EQ(folder.read("to"), content);
    EXPECT_FALSE(copy_file("missing", "to") || copy_file("from", "no/such/folder") || copy_file("from", "from"));
    EXPECT_EQ(folder.read("from"), content) << "a copy onto itself emptied the file";
    EXPECT_TRUE(delete_file("to") && !file_exists("to"));
    EXPECT_TRUE(delete_file("to")) << "a file that is not there is gone";
    EXPECT_FALSE(delete_file(folder.path.string().c_str())) << "folders stay";
}
