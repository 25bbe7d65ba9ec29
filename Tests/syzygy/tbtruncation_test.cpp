// Table files that another program truncates while they are in use. Windows refuses to truncate a mapped file.
#include "platform/map_guard.h"
#include "syzygy_fixture.h"

#include <algorithm>
#include <atomic>
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
    bool wrong(std::size_t i, const Answers& found) const {
        const auto [wdl, dtz] = found;
        return (wdl != NO_WDL && wdl != oracle[i].first) || (dtz != NO_DTZ && dtz != oracle[i].second);
    }
    // Four threads, which open the tables together, go through all rows; the file is truncated when all were read.
    // Counts answers that are wrong, or missing before that.
    int wrong_answers_while_truncating(const std::string& path, std::uintmax_t size) const {
        std::atomic<int> wrong_count = 0;
        std::atomic<std::size_t> probed = 0;
        std::atomic<bool> truncating = false, truncated = false;
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                for (int passes_after = 0; passes_after < 1;) {
                    passes_after += truncated;
                    for (std::size_t row = 0; row < fens.size(); ++row, ++probed) {
                        const Answers found = answers(row);
                        wrong_count += truncating ? wrong(row, found) : found != oracle[row];
                    }
                }
            });
        }
        while (probed < 4 * fens.size()) std::this_thread::yield();
        truncating = true;
        fs::resize_file(path, size);
        truncated = true;
        for (std::thread& thread : threads) thread.join();
        return wrong_count;
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

TEST_F(SyzygyTruncation, a_file_truncated_between_mapping_and_reading_is_damaged) {
    use_path(data_file("syzygy"));
    for (const std::string name : {"KPvKP.rtbw", "KPvKP.rtbz", "KPvK.rtbw", "KPvK.rtbz", "KRvK.rtbw", "KRvK.rtbz"}) {
        const TableKind kind = name.ends_with("w") ? WDL_TABLE : DTZ_TABLE;
        const Material material = entry_of(name.substr(0, name.find('.')))->material;
        const std::string path = folder_.name(name);
        const std::uintmax_t whole = fs::file_size(path);
        for (const std::uintmax_t size : {std::uintmax_t{0}, whole / 64, whole / 8, whole / 2, whole - 1, whole}) {
            copy_table(name);
            FileMap map;
            MapError error{};
            ASSERT_TRUE(map_file(path.c_str(), map, error));
            guard_map(map);
            fs::resize_file(path, size);
            TableData data;
            EXPECT_EQ(read_layout(data, map, path, material, kind), size == whole) << name << ' ' << size;
            release_guard(map);
            unmap_file(map);
        }
    }
}

#endif
