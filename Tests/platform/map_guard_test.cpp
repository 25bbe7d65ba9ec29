// Mappings whose file is truncated, with and without a guard.
#include "platform/map_guard.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#if !defined(_WIN32)

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

namespace {

struct MapGuard : testing::Test {
    const TempFolder folder;
    MapGuard() { folder.enter(); }
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));

    // A mapped file of four pages and a bit, every byte of which is 'x'.
    FileMap map_pages(const std::string& name) const {
        FileMap map;
        MapError error{};
        folder.write(name, std::string(4 * page + 100, 'x'));
        EXPECT_TRUE(map_file(name.c_str(), map, error) && map.size == 4 * page + 100);
        return map;
    }
};

bool all_are(const FileMap& map, std::size_t from, std::size_t to, int byte) {
    return std::all_of(map.data + from, map.data + to, [byte](int b) { return b == byte; });
}

int read_byte(const FileMap& map, std::size_t at) {
    return *static_cast<const volatile std::uint8_t*>(map.data + at);
}

// A sanitizer's handler, which was there before the guards', ends the program by an exit.
bool ended_by_bus_error(int status) {
    return (WIFSIGNALED(status) && WTERMSIG(status) == SIGBUS) || (WIFEXITED(status) && WEXITSTATUS(status) != 0);
}

}  // namespace

TEST_F(MapGuard, lost_pages_are_zeros_up_to_the_end_and_stay_so) {
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, page, 2 * page + 1, 4 * page + 50}) {
        FileMap cut = map_pages("cut"), whole = map_pages("whole");
        for (const FileMap& map : {cut, whole}) guard_map(map);
        std::filesystem::resize_file("cut", size);
        EXPECT_TRUE(all_are(cut, 0, size, 'x')) << size;
        EXPECT_TRUE(all_are(cut, size, cut.size, 0)) << size;
        EXPECT_TRUE(all_are(whole, 0, whole.size, 'x')) << size;

        // The same file is written again: the pages behind the first fault stay lost.
        const std::size_t lost = std::min((size + page - 1) / page * page, cut.size);
        folder.write("cut", std::string(cut.size, 'y'));
        EXPECT_TRUE(all_are(cut, 0, lost, 'y') && all_are(cut, lost, cut.size, 0)) << size;
        for (FileMap* map : {&cut, &whole}) {
            release_guard(*map);
            EXPECT_TRUE(unmap_file(*map).view == 0 && !map->data);
        }
    }
}

TEST_F(MapGuard, other_bus_errors_end_the_program) {
    FileMap guarded = map_pages("guarded"), released = map_pages("released"), plain = map_pages("plain");
    guard_map(guarded);
    guard_map(released);
    release_guard(released);
    for (const char* name : {"guarded", "released", "plain"}) std::filesystem::resize_file(name, page);
    EXPECT_EQ(read_byte(guarded, page), 0);
    EXPECT_EXIT(read_byte(plain, page), ended_by_bus_error, "");
    EXPECT_EXIT(read_byte(released, page), ended_by_bus_error, "");
    EXPECT_EXIT(kill(getpid(), SIGBUS), ended_by_bus_error, "");
    EXPECT_EQ(read_byte(plain, 0), 'x');
    release_guard(guarded);
    for (FileMap* map : {&guarded, &released, &plain}) unmap_file(*map);
}

#endif
