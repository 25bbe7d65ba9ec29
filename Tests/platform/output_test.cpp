// Lines reach standard output whole and uncut, and the log when it is on.
#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "shared_data.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

struct Output : testing::Test {
    const TempFolder folder;

    Output() { folder.enter(); }
    ~Output() override {
        close_log();
        settings.log = 0;
    }
};

TEST_F(Output, no_line_is_cut) {
    for (const std::size_t size : {0, 1023, 1024, 100000}) {
        const std::string text(size, 'x');
        testing::internal::CaptureStdout();
        print_line(text);
        print_format("<%s %d>", text.c_str(), 7);
        print_raw("%s|", text.c_str());
        EXPECT_EQ(testing::internal::GetCapturedStdout(), text + "\n<" + text + " 7>\n" + text + "|") << size;
    }
}

TEST_F(Output, lines_of_many_threads_stay_whole) {
    settings.log = 1;
    open_log();
    testing::internal::CaptureStdout();
    const std::string lines[] = {std::string(60, 'a'), std::string(60, 'b'), std::string(60, 'c')};
    std::vector<std::thread> threads;
    for (const std::string& line : lines) {
        threads.emplace_back([&line] {
            for (int i = 0; i < 30'000; ++i) print_line(line);
        });
    }
    for (std::thread& thread : threads) thread.join();
    folder.write("copy.txt", testing::internal::GetCapturedStdout());
    for (const char* file : {"copy.txt", "tarn.log"}) {
        const std::vector<std::string> found = read_lines(file);
        EXPECT_EQ(found.size(), 90'000u) << file;
        for (const std::string& line : lines) EXPECT_EQ(std::ranges::count(found, line), 30'000) << file;
    }
}

TEST_F(Output, log_takes_lines_and_commands_only_while_it_is_on) {
    testing::internal::CaptureStdout();
    std::filesystem::create_directories("tarn.log");  // cannot be replaced: switches logging off
    settings.log = 1;
    open_log();
    EXPECT_EQ(settings.log, 0);
    std::filesystem::remove("tarn.log");
    folder.write("tarn.log", "an older log\n");
    log_command("not open");
    settings.log = 2;
    open_log();
    print_line("one");
    log_command("go depth 3");
    open_log();  // open already: keeps what is there
    settings.log = 0;
    print_line("silent");
    log_command("silent");
    settings.log = 1;
    print_format("%s", "two");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "log file in use.\none\nsilent\ntwo\n");
    EXPECT_EQ(folder.read("tarn.log"), "one\nCMD: go depth 3\ntwo\n");
}
