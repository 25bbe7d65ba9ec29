// Lines reach standard output whole and uncut, and the log when it is on.
#include "frontend/output.h"
#include "frontend/settings.h"
#include "shared_data.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <thread>
#include <vector>

struct Output : testing::Test {
    const TempFolder folder;

    Output() {
        folder.enter();
        settings.log = 0;
    }
    ~Output() override {
        close_log();
        settings.log = 0;
    }
};

TEST_F(Output, no_line_is_cut) {
    for (const std::size_t size : {0u, 1u, 255u, 256u, 1022u, 1023u, 1024u, 1025u, 100000u}) {
        const std::string text(size, 'x');
        testing::internal::CaptureStdout();
        print_line(text);
        print_format("%s", text.c_str());
        print_raw("%s|", text.c_str());
        EXPECT_EQ(testing::internal::GetCapturedStdout(), text + "\n" + text + "\n" + text + "|") << size;
        EXPECT_EQ(format_text("<%s %d>", text.c_str(), 7), "<" + text + " 7>") << size;
    }
}

TEST_F(Output, lines_of_many_threads_stay_whole) {
    constexpr int THREADS = 4;
    constexpr int LINES = 500;
    settings.log = 1;
    open_log();
    testing::internal::CaptureStdout();
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < LINES; ++i) print_line(std::string(60, static_cast<char>('a' + t)));
        });
    }
    for (std::thread& thread : threads) thread.join();
    const std::string printed = testing::internal::GetCapturedStdout();
    std::ofstream("copy.txt") << printed;
    for (const char* file : {"copy.txt", "tarn.log"}) {
        std::map<std::string, int> counts;
        for (const std::string& line : read_lines(file)) ++counts[line];
        EXPECT_EQ(counts.size(), static_cast<std::size_t>(THREADS)) << file;
        for (int t = 0; t < THREADS; ++t) EXPECT_EQ(counts[std::string(60, static_cast<char>('a' + t))], LINES) << file;
    }
}

TEST_F(Output, log_takes_lines_and_commands_only_while_it_is_on) {
    std::ofstream("tarn.log") << "an older log\n";
    testing::internal::CaptureStdout();
    print_line("before");
    log_command("before");
    open_log();  // not asked for
    settings.log = 2;
    log_command("not open");
    open_log();
    print_line("one");
    log_command("go depth 3");
    open_log();  // open already: keeps what is there
    settings.log = 0;
    print_line("silent");
    log_command("silent");
    settings.log = 1;
    print_format("%s", "two");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "before\none\nsilent\ntwo\n");
    EXPECT_EQ(read_lines("tarn.log"), (std::vector<std::string>{"one", "CMD: go depth 3", "two"}));
}

TEST_F(Output, a_log_that_cannot_be_replaced_switches_logging_off) {
    std::filesystem::create_directories("tarn.log");
    settings.log = 1;
    testing::internal::CaptureStdout();
    open_log();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "log file in use.\n");
    EXPECT_EQ(settings.log, 0);
}
