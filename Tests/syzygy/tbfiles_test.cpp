// Finding files, and what is said and done when they are incomplete, damaged or gone.
#include "syzygy_fixture.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <random>
#include <set>
#include <thread>

#if !defined(_WIN32)
#include <unistd.h>
#endif

namespace {

using SyzygyFiles = Syzygy;

std::string found(int wdl, int dtm, int dtz, int largest) {
    return "info string Found " + std::to_string(wdl) + " WDL, " + std::to_string(dtm) + " DTM and " +
           std::to_string(dtz) + " DTZ tablebase files. Largest " + std::to_string(largest) + "-men\n";
}

void copy_table(const std::string& name, const std::string& directory, const std::string& as = {}) {
    fs::copy_file(data_file("syzygy/" + name), directory + "/" + (as.empty() ? name : as),
                  fs::copy_options::overwrite_existing);
}

void write_file(const std::string& path, std::size_t size) {
    std::ofstream(path, std::ios::binary) << std::string(size, '\0');
}

template <class F>
std::string error_stream(F&& action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

// Every published name, made from all pairs of piece sets: the larger set first, else the stronger one.
std::set<std::string> published_names() {
    const std::string letters = "QRBNP";
    std::vector<std::string> sets{""};
    for (std::size_t i = 0; i < sets.size(); ++i) {
        if (sets[i].size() == 5) continue;
        for (std::size_t k = sets[i].empty() ? 0 : letters.find(sets[i].back()); k < 5; ++k) {
            sets.push_back(sets[i] + letters[k]);
        }
    }
    const auto weaker = [&](const std::string& a, const std::string& b) {
        if (a.size() != b.size()) return a.size() < b.size();
        for (std::size_t i = 0; i < a.size(); ++i) {
            if (a[i] != b[i]) return letters.find(a[i]) > letters.find(b[i]);
        }
        return false;
    };
    std::set<std::string> names;
    for (const std::string& a : sets) {
        for (const std::string& b : sets) {
            if (a.size() + b.size() == 0 || a.size() + b.size() > 5) continue;
            std::string name = "K";
            name.append(weaker(a, b) ? b : a).append("vK").append(weaker(a, b) ? a : b);
            names.insert(name);
        }
    }
    return names;
}

// A position of the name's material, for its key only. `colour`: of the side named first.
ProbePosition material_only(const std::string& name, int colour) {
    ProbePosition position{};
    int square = 8;
    for (const char letter : name) {
        if (letter == 'v') {
            colour ^= 1;
            continue;
        }
        position.colours[colour] |= bit(square);
        position.types[std::string(" PNBRQK").find(letter)] |= bit(square);
        ++square;
    }
    return position;
}

}  // namespace

TEST_F(SyzygyFiles, all_published_names_are_found_and_looked_up) {
    const std::set<std::string> names = published_names();
    ASSERT_EQ(names.size(), 5u + 30u + 110u + 365u + 1001u);  // published totals of 3 to 7 pieces
    ASSERT_EQ(std::count_if(names.begin(), names.end(), [](auto& n) { return n.find('P') == n.npos; }), 650);
    for (const std::string& name : names) write_file(scratch() + "/" + name + ".rtbw", 80);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(use_path(scratch()), found(1511, 0, 0, 7));
    const std::chrono::duration<double, std::milli> spent = std::chrono::steady_clock::now() - start;
    RecordProperty("start_up_microseconds", static_cast<int>(spent.count() * 1000));
    for (const std::string& name : names) {
        TableEntry* const entry = find_table(material_key(material_only(name, WHITE), WHITE));
        ASSERT_NE(entry, nullptr) << name;
        EXPECT_EQ(entry->name, name);
        EXPECT_EQ(find_table(material_key(material_only(name, BLACK), WHITE)), entry) << name;
    }
    EXPECT_EQ(find_table(material_key(material_only("KvK", WHITE), WHITE)), nullptr);
    use_path("");
    EXPECT_EQ(find_table(material_key(material_only("KQvK", WHITE), WHITE)), nullptr);
}

TEST_F(SyzygyFiles, path_lists_are_split_and_searched_in_order) {
    EXPECT_EQ(use_path(""), "");
    EXPECT_EQ(use_path("<empty>"), "");
    EXPECT_EQ(wdl_of(KQK_WIN), -9);
    const std::string none = found(0, 0, 0, 0);
    EXPECT_EQ(use_path(scratch() + "/missing"), none);
    EXPECT_EQ(use_path(data_file("syzygy/KQvK.rtbw")), none);  // a file is no directory
    EXPECT_EQ(use_path(";;"), none);
#if !defined(_WIN32)
    const std::string locked = scratch() + "/locked";
    fs::create_directory(locked);
    copy_table("KQvK.rtbw", locked);
    fs::permissions(locked, fs::perms::none);
    if (geteuid() != 0) { EXPECT_EQ(use_path(locked), none) << "a directory that may not be read"; }
    fs::permissions(locked, fs::perms::owner_all);
#endif

    copy_table("KQvK.rtbw", scratch());
    EXPECT_EQ(use_path(scratch()), found(1, 0, 0, 3));
    EXPECT_EQ(wdl_of(KQK_WIN), 2);
    EXPECT_EQ(dtz_of(KQK_WIN), -9999);
    EXPECT_EQ(wdl_of(KRK_WIN), -9);
    EXPECT_EQ(use_path(';' + scratch() + ";;"), found(1, 0, 0, 3));
#if !defined(_WIN32)
    EXPECT_EQ(use_path("/nowhere:" + scratch() + ":"), found(1, 0, 0, 3));
#endif

    // The second directory serves only names that the first has not: its damaged KQvK is not looked at.
    const std::string second = scratch() + "/second";
    fs::create_directory(second);
    write_file(second + "/KQvK.rtbw", 100);
    copy_table("KRvK.rtbw", second);
    copy_table("KRvK.rtbz", second);
    EXPECT_EQ(use_path(scratch() + ";" + second), found(2, 0, 1, 3));
    EXPECT_EQ(wdl_of(KQK_WIN), 2);
    EXPECT_EQ(wdl_of(KRK_WIN), 2);
    EXPECT_EQ(wdl_of(KRK_LOSS_BLACK_HAS_ROOK), -2);

    // The longest path that the option holds: 143 characters.
    std::string deep = scratch() + "/";
    ASSERT_LT(deep.size(), 143u);
    deep.append(143 - deep.size(), 'd');
    fs::create_directory(deep);
    copy_table("KQvK.rtbw", deep);
    EXPECT_EQ(use_path(deep), found(1, 0, 0, 3));
    EXPECT_EQ(wdl_of(KQK_WIN), 2);
}

TEST_F(SyzygyFiles, incomplete_files_are_named_and_passed_over) {
    copy_table("KRvK.rtbw", scratch());
    write_file(scratch() + "/KRvK.rtbz", 1000);  // 1000 = 15 * 64 + 40
    write_file(scratch() + "/KRvK.rtbm", 80);    // complete, counted, never read
    write_file(scratch() + "/KQvK.rtbw", 0);
    write_file(scratch() + "/KNvK.rtbw", 48);
    std::string out;
    const std::string errors = error_stream([&] { out = use_path(scratch()); });
    EXPECT_EQ(errors,
              "Incomplete tablebase file KQvK.rtbw\nIncomplete tablebase file KRvK.rtbz\n"
              "Incomplete tablebase file KNvK.rtbw\n");
    EXPECT_EQ(out,
              "info string Incomplete tablebase file KQvK.rtbw\n"
              "info string Incomplete tablebase file KRvK.rtbz\n"
              "info string Incomplete tablebase file KNvK.rtbw\n" +
                  found(1, 1, 0, 3));
    EXPECT_EQ(wdl_of(KRK_WIN), 2);
    EXPECT_EQ(dtz_of(KRK_WIN), -9999);
}

TEST_F(SyzygyFiles, damaged_or_vanished_files_make_their_material_unknown_and_nothing_else) {
    copy_table("KQvK.rtbz", scratch(), "KQvK.rtbw");  // another kind's magic
    copy_table("KRvK.rtbw", scratch());
    copy_table("KPvK.rtbw", scratch());
    copy_table("KPvK.rtbz", scratch());
    copy_table("KRvK.rtbw", scratch(), "KPvK.rtbz");  // the right magic, but not in a DTZ file
    copy_table("KNvK.rtbw", scratch());
    EXPECT_EQ(use_path(scratch()), found(4, 0, 1, 3));
    fs::remove(scratch() + "/KNvK.rtbw");
    EXPECT_EQ(error_stream([] { EXPECT_EQ(wdl_of(KQK_WIN), -9); }), "Corrupted table.\n");
    EXPECT_EQ(error_stream([] {
                  EXPECT_EQ(wdl_of(KQK_WIN), -9);  // once is enough
                  EXPECT_EQ(wdl_of("k6q/8/8/8/4K3/8/8/8 w - - 0 1"), -9);
                  EXPECT_EQ(wdl_of("8/8/8/4k3/8/8/8/K6N w - - 0 1"), -9);  // vanished, silently
                  EXPECT_EQ(wdl_of(KRK_WIN), 2);
                  EXPECT_EQ(wdl_of("8/8/8/8/8/8/k6P/2K5 w - - 0 1"), 2);
              }),
              "");
    // A damaged DTZ file takes the material's WDL answers with it.
    const char* lost_to_pawn = "8/8/8/8/8/8/k6P/2K5 b - - 0 1";
    EXPECT_EQ(error_stream([&] { EXPECT_EQ(dtz_of(lost_to_pawn), -9999); }), "Corrupted table.\n");
    EXPECT_EQ(wdl_of(lost_to_pawn), -9);
    EXPECT_EQ(wdl_of(KRK_WIN), 2);

    // A file that lost its end after start-up.
    use_path(scratch());
    fs::resize_file(scratch() + "/KRvK.rtbw", 0);
    EXPECT_EQ(error_stream([] { EXPECT_EQ(wdl_of(KRK_WIN), -9); }), "Corrupted table.\n");

    // Everything is looked at anew when the path is set again.
    copy_table("KRvK.rtbw", scratch());
    use_path(scratch());
    EXPECT_EQ(wdl_of(KRK_WIN), 2);
}

#if !defined(_WIN32)
TEST_F(SyzygyFiles, a_file_that_cannot_be_let_go_is_reported_and_the_rest_goes_on) {
    use_path(data_file("syzygy"));
    ASSERT_EQ(wdl_of(KQK_WIN), 2);
    ASSERT_EQ(wdl_of(KRK_WIN), 2);
    FileMap& map = find_table(material_key(material_only("KQvK", WHITE), WHITE))->maps[WDL_TABLE];
    FileMap real = map;
    map.handle = static_cast<char*>(map.handle) + 1;  // on no page boundary
    EXPECT_EQ(error_stream([&] { use_path(data_file("syzygy")); }),
              "unmap failed, error code " + std::to_string(EINVAL) + "\n");
    EXPECT_EQ(wdl_of(KQK_WIN), 2);
    EXPECT_EQ(wdl_of(KRK_WIN), 2);
    unmap_file(real);
}
#endif

TEST_F(SyzygyFiles, damaged_files_never_stop_play) {
    std::mt19937 random(20240607);
    const auto rows = read_rows(data_file("syzygy/oracle.tsv"));
    const std::array<std::string, 6> names{"KQvK", "KRRvK", "KRvKB", "KPPvK", "KPvK", "KPvKP"};
    const int count = trials(40);
    const std::string healthy = scratch() + ";" + data_file("syzygy");
    for (int trial = 0; trial < count; ++trial) {
        const std::string file = names[random() % names.size()] + (random() % 2 ? ".rtbw" : ".rtbz");
        copy_table(file, scratch());
        const std::string path = scratch() + "/" + file;
        fs::permissions(path, fs::perms::owner_write, fs::perm_options::add);
        const auto size = fs::file_size(path);
        const bool cut = random() % 2;
        if (cut) {
            // Half of the cuts leave a size that looks complete.
            const auto length = random() % size;
            fs::resize_file(path, random() % 2 && length > 80 ? length / 64 * 64 - 48 : length);
        } else {
            std::fstream stream(path, std::ios::in | std::ios::out | std::ios::binary);
            for (int i = 0; i < 8; ++i) {
                stream.seekp(
                    static_cast<std::streamoff>(random() % (i < 4 ? std::min<std::uintmax_t>(size, 200) : size)));
                stream.put(static_cast<char>(random()));
            }
        }
        const std::string errors = error_stream([&] {
            use_path(healthy);
            for (const auto& row : rows) {
                const int wdl = wdl_of(row[0]);
                EXPECT_TRUE(wdl == -9 || (wdl >= -2 && wdl <= 2)) << file << " " << row[0];
                dtz_of(row[0]);
            }
            EXPECT_EQ(wdl_of(KRK_WIN), 2);
        });
        if (cut) {
            EXPECT_TRUE(errors == "Corrupted table.\n" || errors == "Incomplete tablebase file " + file + "\n")
                << file << " cut to " << fs::file_size(path) << ": " << errors;
        }
        use_path("");  // lets go of the file
        fs::remove(path);
    }
}

TEST_F(SyzygyFiles, threads_that_probe_first_at_once_get_the_same_answers) {
    const auto rows = read_rows(data_file("syzygy/oracle.tsv"));
    Game first_game(KQK_WIN);  // fills the engine's tables before the threads start
    for (int round = 0; round < 4; ++round) {
        use_path(data_file("syzygy"));
        std::atomic<int> wrong = 0, waiting = 4;
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                --waiting;
                while (waiting > 0) std::this_thread::yield();
                for (const auto& row : rows) {
                    if (wdl_of(row[0]) != std::stoi(row[1])) ++wrong;
                    if (row[2] != "-" && dtz_of(row[0]) != std::stoi(row[2])) ++wrong;
                }
            });
        }
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(wrong, 0);
    }
}
