// Finding files, and what is said and done when they are incomplete, damaged or gone.
#include "syzygy_fixture.h"

namespace {

using SyzygyFiles = Syzygy;

std::string found(int wdl, int dtm, int dtz, int largest) {
    return "info string Found " + std::to_string(wdl) + " WDL, " + std::to_string(dtm) + " DTM and " +
           std::to_string(dtz) + " DTZ tablebase files. Largest " + std::to_string(largest) + "-men\n";
}

}  // namespace

// Of each number of pieces besides the kings the strongest and the weakest name.
TEST_F(SyzygyFiles, names_of_three_to_seven_pieces_are_found_and_looked_up) {
    const std::vector<std::string> names = split_words(
        "KQvK KPvK KQvKQ KPvKP KQQvK KPPvK KQQvKQ KQQvKP KPPvKP KQQQvK KPPPvK KQQvKQQ KPPvKPP KQQQvKQ KPPPvKP KQQQQvK "
        "KPPPPvK KQQQQQvK KPPPPPvK KQQQQvKQ KPPPPvKP KQQQvKQQ KPPPvKPP KQRBNPvK KRBNvKQP KNvKP KBPvKN");
    for (const std::string& name : names) folder_.write(name + ".rtbw", std::string(80, '\0'));
    for (const char* unknown : {"KQvKQQ", "KvKQ", "KPvKQ", "KPQvK", "KvK"}) {
        folder_.write(std::string(unknown) + ".rtbw", std::string(80, '\0'));
    }
    EXPECT_EQ(use_path(scratch()), found(names.size(), 0, 0, 7));
    for (const std::string& name : names) {
        TableEntry* const entry = entry_of(name);
        ASSERT_NE(entry, nullptr) << name;
        EXPECT_EQ(entry->name, name);
        EXPECT_EQ(entry_of(name, true), entry) << name;
    }
    EXPECT_EQ(entry_of("KvK"), nullptr);
    use_path("");
    EXPECT_EQ(entry_of("KQvK"), nullptr);
}

TEST_F(SyzygyFiles, path_lists_are_split_and_searched_in_order) {
    const std::string none = found(0, 0, 0, 0), one = found(1, 0, 0, 3);
    // The second directory serves only names that the first has not: its damaged KQvK is not looked at.
    const std::string first = folder_.name("first"), second = folder_.name("second");
    // The longest path that the option holds: 143 characters.
    const std::string longest = scratch() + "/" + std::string(142 - scratch().size(), 'd');
    for (const std::string& directory : {first, second, longest}) fs::create_directory(directory);
    copy_table("KQvK.rtbw", "first/KQvK.rtbw");
    fs::copy_file(first + "/KQvK.rtbw", longest + "/KQvK.rtbw");
    folder_.write("second/KQvK.rtbw", std::string(100, '\0'));
    copy_table("KRvK.rtbw", "second/KRvK.rtbw");
    copy_table("KRvK.rtbz", "second/KRvK.rtbz");
    const struct {
        std::string path, printed;
        int kqk = NO_WDL, krk = NO_WDL;
    } cases[] = {
        {"", ""},
        {"<empty>", ""},
        {scratch() + "/missing", none},
        {data_file("syzygy/KQvK.rtbw"), none},  // a file is no directory
        {";;", none},
        {';' + first + ";;", one, 2},
#if !defined(_WIN32)
        {"/nowhere:" + first + ":", one, 2},
#endif
        {first + ";" + second, found(2, 0, 1, 3), 2, 2},
        {longest, one, 2},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(use_path(c.path), c.printed) << c.path;
        EXPECT_EQ(wdl_of(KQK_WIN), c.kqk) << c.path;
        EXPECT_EQ(wdl_of(KRK_WIN), c.krk) << c.path;
    }
}

TEST_F(SyzygyFiles, incomplete_files_are_named_and_passed_over) {
    copy_table("KRvK.rtbw");
    folder_.write("KRvK.rtbz", std::string(1000, '\0'));  // 1000 = 15 * 64 + 40
    folder_.write("KRvK.rtbm", std::string(80, '\0'));    // complete, counted, never read
    folder_.write("KQvK.rtbw", "");
    folder_.write("KNvK.rtbw", std::string(48, '\0'));
    std::string out;
    const std::string said = errors([&] { out = use_path(scratch()); });
    std::string expected_errors, expected;
    for (const char* file : {"KQvK.rtbw", "KRvK.rtbz", "KNvK.rtbw"}) {
        expected_errors += std::string("Incomplete tablebase file ") + file + "\n";
        expected += std::string("info string Incomplete tablebase file ") + file + "\n";
    }
    EXPECT_EQ(said, expected_errors);
    EXPECT_EQ(out, expected + found(1, 1, 0, 3));
    EXPECT_EQ(wdl_of(KRK_WIN), 2);
    EXPECT_EQ(dtz_of(KRK_WIN), NO_DTZ);
}

TEST_F(SyzygyFiles, damaged_or_vanished_files_make_their_material_unknown_and_nothing_else) {
    copy_table("KQvK.rtbz", "KQvK.rtbw");  // another kind's magic
    copy_table("KRvK.rtbw");
    copy_table("KPvK.rtbw");
    copy_table("KRvK.rtbw", "KPvK.rtbz");  // the right magic, but not in a DTZ file
    copy_table("KNvK.rtbw");
    EXPECT_EQ(use_path(scratch()), found(4, 0, 1, 3));
    fs::remove(folder_.name("KNvK.rtbw"));
    constexpr const char* PAWN_WIN = "8/8/8/8/8/8/k6P/2K5 w - - 0 1";
    const auto said = [](const char* fen, int wdl) { return errors([&] { EXPECT_EQ(wdl_of(fen), wdl) << fen; }); };
    EXPECT_EQ(said(KQK_WIN, NO_WDL), "Corrupted table.\n");
    EXPECT_EQ(said(KQK_WIN, NO_WDL), "") << "once is enough";
    EXPECT_EQ(said("k6q/8/8/8/4K3/8/8/8 w - - 0 1", NO_WDL), "");
    EXPECT_EQ(said("8/8/8/4k3/8/8/8/K6N w - - 0 1", NO_WDL), "") << "vanished";
    EXPECT_EQ(said(KRK_WIN, 2), "");
    EXPECT_EQ(said(PAWN_WIN, 2), "");
    // A damaged DTZ file takes the material's WDL answers with it.
    EXPECT_EQ(errors([&] { EXPECT_EQ(dtz_of("8/8/8/8/8/8/k6P/2K5 b - - 0 1"), NO_DTZ); }), "Corrupted table.\n");
    EXPECT_EQ(said(PAWN_WIN, NO_WDL), "");

    use_path(scratch());  // a file that loses its end after start-up
    fs::resize_file(folder_.name("KRvK.rtbw"), 0);
    EXPECT_EQ(said(KRK_WIN, NO_WDL), "Corrupted table.\n");
}
