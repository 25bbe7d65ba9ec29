// Table files that another program truncates while they are in use. Windows refuses to truncate a mapped file.
#include "platform/map_guard.h"
#include "syzygy_fixture.h"

#include <algorithm>
#include <atomic>
#include <thread>

#if !defined(_WIN32)

namespace {

struct SyzygyTruncation : Syzygy {
    struct Answers {
        int wdl, dtz;
        bool operator==(const Answers&) const = default;
    };
    static constexpr Answers NONE{-9, -9999};

    struct Row {
        std::string fen;
        Answers oracle;
    };
    std::vector<Row> rows;
    const std::string tables = scratch() + "/tables";

    void SetUp() override {
        for (const auto& row : read_rows(data_file("syzygy/oracle.tsv"))) {
            rows.push_back({row[0], {std::stoi(row[1]), row[2] == "-" ? NONE.dtz : std::stoi(row[2])}});
        }
        fs::create_directory(tables);
        for (const auto& file : fs::directory_iterator(data_file("syzygy"))) restore(file.path().filename().string());
    }
    void restore(const std::string& file) const {
        fs::copy_file(data_file("syzygy/" + file), tables + "/" + file, fs::copy_options::overwrite_existing);
        fs::permissions(tables + "/" + file, fs::perms::owner_write, fs::perm_options::add);
    }
    static Answers answers(const Row& row) {
        return {wdl_of(row.fen), row.oracle.dtz == NONE.dtz ? NONE.dtz : dtz_of(row.fen)};
    }
    std::vector<Answers> all_answers() const {
        std::vector<Answers> all;
        for (const Row& row : rows) all.push_back(answers(row));
        return all;
    }
    // An answer is right, or none where it needs a lost table.
    static bool wrong(const Answers& found, const Answers& oracle) {
        return (found.wdl != NONE.wdl && found.wdl != oracle.wdl) || (found.dtz != NONE.dtz && found.dtz != oracle.dtz);
    }
    // Four threads go through all rows; the file is truncated in the middle of their first pass. Counts wrong answers.
    int wrong_answers_while_truncating(const std::string& path, std::uintmax_t size) const {
        std::atomic<int> wrong_count = 0;
        std::atomic<std::size_t> probed = 0;
        std::atomic<bool> truncated = false;
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                for (int passes_after = 0; passes_after < 1;) {
                    passes_after += truncated;
                    for (const Row& row : rows) {
                        wrong_count += wrong(answers(row), row.oracle);
                        ++probed;
                    }
                }
            });
        }
        while (probed < rows.size()) std::this_thread::yield();
        fs::resize_file(path, size);
        truncated = true;
        for (std::thread& thread : threads) thread.join();
        return wrong_count;
    }
};

}  // namespace

TEST_F(SyzygyTruncation, a_truncated_table_has_no_more_answers_and_the_others_keep_theirs) {
    std::vector<Answers> oracle;
    for (const Row& row : rows) oracle.push_back(row.oracle);
    // The tables of one page lose their end without a fault.
    for (const std::string file : {"KPvKP.rtbw", "KPvKP.rtbz", "KRvK.rtbw", "KRvK.rtbz", "KRvKB.rtbw", "KNvK.rtbw"}) {
        const std::string path = tables + "/" + file, material = file.substr(0, file.find('.'));
        fs::remove(tables + "/" + material + ".rtbw");
        use_path(tables);
        const std::vector<Answers> without = all_answers();
        ASSERT_NE(without, oracle) << file;
        restore(material + ".rtbw");

        const std::uintmax_t whole = fs::file_size(path);
        for (const std::uintmax_t size :
             {std::uintmax_t{0}, std::uintmax_t{1}, std::uintmax_t{4096}, whole / 2, whole - 1}) {
            if (size >= whole) continue;
            use_path(tables);
            ASSERT_EQ(all_answers(), oracle) << file << " before it is cut to " << size;
            testing::internal::CaptureStderr();
            EXPECT_EQ(wrong_answers_while_truncating(path, size), 0) << file << " cut to " << size;
            EXPECT_EQ(all_answers(), without) << file << " cut to " << size;
            EXPECT_EQ(testing::internal::GetCapturedStderr(),
                      "Tablebase file " + file + " was truncated and is no longer used.\n");
            restore(file);
        }
    }
}

TEST_F(SyzygyTruncation, a_file_truncated_between_mapping_and_reading_is_damaged) {
    use_path(data_file("syzygy"));
    for (const char* fen : {"8/8/8/4k3/8/8/P6p/K7 w - - 0 1", "8/8/8/4k3/8/8/P7/K7 w - - 0 1", KRK_WIN}) {
        const TableEntry* const entry = find_table(material_key(Game(fen).probe(), WHITE));
        ASSERT_NE(entry, nullptr) << fen;
        for (const TableKind kind : {WDL_TABLE, DTZ_TABLE}) {
            const std::string name = entry->name + (kind == WDL_TABLE ? ".rtbw" : ".rtbz"),
                              path = scratch() + "/" + name;
            const std::uintmax_t whole = fs::file_size(data_file("syzygy/" + name));
            for (std::uintmax_t size = 0; size <= whole;
                 size = size == whole ? size + 1 : std::min(whole, 3 * size + 1)) {
                fs::remove(path);
                fs::copy_file(data_file("syzygy/" + name), path);
                fs::permissions(path, fs::perms::owner_write, fs::perm_options::add);
                FileMap map;
                MapError error{};
                ASSERT_TRUE(map_file(path.c_str(), map, error));
                guard_map(map);
                fs::resize_file(path, size);
                TableData data;
                EXPECT_EQ(read_layout(data, map, path, entry->material, kind), size == whole) << name << ' ' << size;
                release_guard(map);
                unmap_file(map);
            }
        }
    }
}

#endif
