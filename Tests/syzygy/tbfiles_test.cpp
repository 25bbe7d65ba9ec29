// Finding files, and what is said and done when they are incomplete, damaged or gone.
#include "syzygy_fixture.h"

#include <algorithm>
#include <atomic>
#include <random>
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

template <class Action>
std::string error_stream(Action action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

// A position of the name's material, for its key only. `colour`: of the side named first.
ProbePosition material_only(const std::string& name, int colour) {
    ProbePosition position{};
    Bitboard square = bit(8);
    for (const char letter : name) {
        if (letter == 'v') {
            colour ^= 1;
        } else {
            position.colours[colour] |= square;
            position.types[std::string(" PNBRQK").find(letter)] |= square;
            square <<= 1;
        }
    }
    return position;
}

}  // namespace

// Of each number of pieces besides the kings the strongest and the weakest name.
TEST_F(SyzygyFiles, names_of_three_to_seven_pieces_are_found_and_looked_up) {
    const std::vector<std::string> names = split_words(
        "KQvK KPvK KQvKQ KPvKP KQQvK KPPvK KQQvKQ KQQvKP KPPvKP KQQQvK KPPPvK KQQvKQQ KPPvKPP KQQQvKQ KPPPvKP KQQQQvK "
        "KPPPPvK KQQQQQvK KPPPPPvK KQQQQvKQ KPPPPvKP KQQQvKQQ KPPPvKPP KQRBNPvK KRBNvKQP KNvKP KBPvKN");
    for (const std::string& name : names) write_file(scratch() + "/" + name + ".rtbw", 80);
    for (const char* unknown : {"KQvKQQ", "KvKQ", "KPvKQ", "KPQvK", "KvK"}) {
        write_file(scratch() + "/" + unknown + ".rtbw", 80);
    }
    EXPECT_EQ(use_path(scratch()), found(names.size(), 0, 0, 7));
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
    const std::string none = found(0, 0, 0, 0), one = found(1, 0, 0, 3);
    // The second directory serves only names that the first has not: its damaged KQvK is not looked at.
    const std::string first = scratch() + "/first", second = scratch() + "/second";
    // The longest path that the option holds: 143 characters.
    const std::string longest = scratch() + "/" + std::string(142 - scratch().size(), 'd');
    for (const std::string& directory : {first, second, longest}) fs::create_directory(directory);
    copy_table("KQvK.rtbw", first);
    copy_table("KQvK.rtbw", longest);
    write_file(second + "/KQvK.rtbw", 100);
    copy_table("KRvK.rtbw", second);
    copy_table("KRvK.rtbz", second);
    const struct {
        std::string path, printed;
        int kqk, krk;
    } cases[] = {
        {scratch() + "/missing", none, -9, -9},
        {data_file("syzygy/KQvK.rtbw"), none, -9, -9},  // a file is no directory
        {";;", none, -9, -9},
        {first, one, 2, -9},
        {';' + first + ";;", one, 2, -9},
#if !defined(_WIN32)
        {"/nowhere:" + first + ":", one, 2, -9},
#endif
        {first + ";" + second, found(2, 0, 1, 3), 2, 2},
        {longest, one, 2, -9},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(use_path(c.path), c.printed) << c.path;
        EXPECT_EQ(wdl_of(KQK_WIN), c.kqk) << c.path;
        EXPECT_EQ(wdl_of(KRK_WIN), c.krk) << c.path;
    }
#if !defined(_WIN32)
    fs::permissions(first, fs::perms::none);
    if (geteuid() != 0) { EXPECT_EQ(use_path(first), none) << "a directory that may not be read"; }
    fs::permissions(first, fs::perms::owner_all);
#endif
}

TEST_F(SyzygyFiles, incomplete_files_are_named_and_passed_over) {
    copy_table("KRvK.rtbw", scratch());
    write_file(scratch() + "/KRvK.rtbz", 1000);  // 1000 = 15 * 64 + 40
    write_file(scratch() + "/KRvK.rtbm", 80);    // complete, counted, never read
    write_file(scratch() + "/KQvK.rtbw", 0);
    write_file(scratch() + "/KNvK.rtbw", 48);
    std::string out;
    const std::string errors = error_stream([&] { out = use_path(scratch()); });
    std::string expected_errors, expected;
    for (const char* file : {"KQvK.rtbw", "KRvK.rtbz", "KNvK.rtbw"}) {
        expected_errors += std::string("Incomplete tablebase file ") + file + "\n";
        expected += std::string("info string Incomplete tablebase file ") + file + "\n";
    }
    EXPECT_EQ(errors, expected_errors);
    EXPECT_EQ(out, expected + found(1, 1, 0, 3));
    EXPECT_EQ(wdl_of(KRK_WIN), 2);
    EXPECT_EQ(dtz_of(KRK_WIN), -9999);
}

TEST_F(SyzygyFiles, damaged_or_vanished_files_make_their_material_unknown_and_nothing_else) {
    copy_table("KQvK.rtbz", scratch(), "KQvK.rtbw");  // another kind's magic
    copy_table("KRvK.rtbw", scratch());
    copy_table("KPvK.rtbw", scratch());
    copy_table("KRvK.rtbw", scratch(), "KPvK.rtbz");  // the right magic, but not in a DTZ file
    copy_table("KNvK.rtbw", scratch());
    EXPECT_EQ(use_path(scratch()), found(4, 0, 1, 3));
    fs::remove(scratch() + "/KNvK.rtbw");
    const char* const won_with_pawn = "8/8/8/8/8/8/k6P/2K5 w - - 0 1";
    const char* const lost_to_pawn = "8/8/8/8/8/8/k6P/2K5 b - - 0 1";
    const struct {
        const char* fen;
        int wdl;
        const char* said = "";
    } cases[] = {
        {KQK_WIN, -9, "Corrupted table.\n"},
        {KQK_WIN, -9},  // once is enough
        {"k6q/8/8/8/4K3/8/8/8 w - - 0 1", -9},
        {"8/8/8/4k3/8/8/8/K6N w - - 0 1", -9},  // vanished, silently
        {KRK_WIN, 2},
        {won_with_pawn, 2},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(error_stream([&] { EXPECT_EQ(wdl_of(c.fen), c.wdl) << c.fen; }), c.said) << c.fen;
    }
    // A damaged DTZ file takes the material's WDL answers with it.
    EXPECT_EQ(error_stream([&] { EXPECT_EQ(dtz_of(lost_to_pawn), -9999); }), "Corrupted table.\n");
    EXPECT_EQ(wdl_of(won_with_pawn), -9);

    // A file that lost its end after start-up.
    use_path(scratch());
    fs::resize_file(scratch() + "/KRvK.rtbw", 0);
    EXPECT_EQ(error_stream([] { EXPECT_EQ(wdl_of(KRK_WIN), -9); }), "Corrupted table.\n");
}

TEST_F(SyzygyFiles, damaged_files_never_stop_play) {
    std::mt19937 random(20240607);
    const auto rows = read_rows(data_file("syzygy/oracle.tsv"));
    const std::vector<std::string> names{"KQvK", "KRRvK", "KRvKB", "KPPvK", "KPvK", "KPvKP"};
    const int count = trials(40);
    const std::string healthy = scratch() + ";" + data_file("syzygy");
    for (int trial = 0; trial < count; ++trial) {
        const std::string file = names[random() % names.size()] + (random() % 2 ? ".rtbw" : ".rtbz");
        copy_table(file, scratch());
        const std::string path = scratch() + "/" + file;
        fs::permissions(path, fs::perms::owner_write, fs::perm_options::add);
        const auto size = fs::file_size(path);
        const bool cut = random() % 2;
        if (cut) {  // half of the cuts leave a size that looks complete
            const auto length = random() % size;
            fs::resize_file(path, random() % 2 && length > 80 ? length / 64 * 64 - 48 : length);
        } else {
            std::fstream stream(path, std::ios::in | std::ios::out | std::ios::binary);
            for (int i = 0; i < 8; ++i) {
                stream.seekp(random() % (i < 4 ? std::min<std::uintmax_t>(size, 200) : size));
                stream.put(random());
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
