// Table files that another program truncates while they are in use. Windows refuses to truncate a mapped file.
#include "syzygy_fixture.h"

#include <atomic>
#include <barrier>
#include <thread>

#if !defined(_WIN32)

namespace {

using Answers = std::pair<int, int>;  // WDL and DTZ

struct SyzygyTruncation : Syzygy {
    std::vector<std::string> fens;
    std::vector<Answers> oracle;

    void SetUp() override {
        for (const auto& row : read_rows(data_file("syzygy/oracle.tsv"))) {
            fens.push_back(row[0]);
            oracle.emplace_back(std::stoi(row[1]), row[2] == "-" ? NO_DTZ : std::stoi(row[2]));
        }
        for (const auto& file : fs::directory_iterator(data_file("syzygy")))
            copy_table(file.path().filename().string());
    }
    Answers answers(std::size_t i) const {
        return {wdl_of(fens[i]), oracle[i].second == NO_DTZ ? NO_DTZ : dtz_of(fens[i])};
    }
    std::vector<Answers> all_answers() const {
        std::vector<Answers> all;
        for (std::size_t i = 0; i < fens.size(); ++i) all.push_back(answers(i));
        return all;
    }
    // An answer is right, or none where it needs a lost table.
    int count_wrong_answers() const {
        int wrong = 0;
        for (std::size_t i = 0; i < fens.size(); ++i) {
            const auto [wdl, dtz] = answers(i);
            wrong += (wdl != NO_WDL && wdl != oracle[i].first) || (dtz != NO_DTZ && dtz != oracle[i].second);
        }
        return wrong;
    }
    // Four threads, which open the tables together, go through all rows; the file is truncated when all were read.
    // Counts answers that are wrong, and threads that missed one before that.
    int wrong_answers_while_truncating(const std::string& path, std::uintmax_t size) const {
        std::atomic<int> wrong = 0;
        std::atomic<bool> truncated = false;
        std::barrier all_read(5);
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                wrong += all_answers() != oracle;
                all_read.arrive_and_wait();
                while (!truncated) wrong += count_wrong_answers();
                wrong += count_wrong_answers();
            });
        }
        all_read.arrive_and_wait();
        fs::resize_file(path, size);
        truncated = true;
        for (std::thread& thread : threads) thread.join();
        return wrong;
    }
};

}  // namespace

TEST_F(SyzygyTruncation, a_truncated_table_has_no_more_answers_and_the_others_keep_theirs) {
    // The tables of one page lose their end without a fault.
    for (const std::string file : {"KPvKP.rtbw", "KPvKP.rtbz", "KRvK.rtbw", "KRvK.rtbz", "KRvKB.rtbw", "KNvK.rtbw"}) {
        const std::string path = folder_.name(file), wdl_file = file.substr(0, file.find('.')) + ".rtbw";
        fs::remove(folder_.name(wdl_file));
        use_path(scratch());
        const std::vector<Answers> without = all_answers();
        ASSERT_NE(without, oracle) << file;
        copy_table(wdl_file);

        const std::uintmax_t whole = fs::file_size(path);
        for (const std::uintmax_t size :
             {std::uintmax_t{0}, std::uintmax_t{1}, std::uintmax_t{4096}, whole / 2, whole - 1}) {
            if (size >= whole) continue;
            use_path(scratch());
            const std::string said = errors([&] { EXPECT_EQ(wrong_answers_while_truncating(path, size), 0); });
            EXPECT_EQ(said, "Tablebase file " + file + " was truncated and is no longer used.\n") << size;
            EXPECT_EQ(all_answers(), without) << file << " cut to " << size;
            copy_table(file);
        }
    }
}

// The checksum loses a byte, so that the layout is still there.
TEST_F(SyzygyTruncation, a_file_truncated_between_mapping_and_reading_is_damaged) {
    use_path(scratch());
    const std::string path = folder_.name("KRvK.rtbw");
    const Material material = entry_of("KRvK")->material;
    FileMap map;
    MapError error{};
    ASSERT_TRUE(map_file(path.c_str(), map, error));
    TableData data;
    EXPECT_TRUE(read_layout(data, map, path, material, WDL_TABLE));
    fs::resize_file(path, fs::file_size(path) - 1);
    EXPECT_FALSE(read_layout(data, map, path, material, WDL_TABLE));
    unmap_file(map);
}

#endif
