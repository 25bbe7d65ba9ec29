// Standard input without waiting, on a pipe put in its place.
#include "platform/console_input.h"
#include "platform/clock.h"

#include <gtest/gtest.h>

#include <string>

#if !defined(_WIN32)
#include <fcntl.h>
#include <unistd.h>

class PipeInput : public testing::Test {
protected:
    void SetUp() override {
        saved_ = dup(0);
        ASSERT_EQ(pipe(ends_), 0);
        dup2(ends_[0], 0);
        close(ends_[0]);
    }
    void TearDown() override {
        close_writer();
        dup2(saved_, 0);
        close(saved_);
    }
    void close_writer() {
        if (ends_[1] >= 0) close(ends_[1]);
        ends_[1] = -1;
    }
    void send(const std::string& text) {
        ASSERT_EQ(write(ends_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    int saved_ = -1;
    int ends_[2] = {-1, -1};
};

TEST_F(PipeInput, reads_what_waits_then_nothing_then_the_end) {
    char buffer[8];
    std::size_t count = 99;
    EXPECT_FALSE(input_is_terminal());
    EXPECT_EQ(read_available_input(buffer, sizeof buffer, count), InputStatus::NONE);
    EXPECT_EQ(count, 0u);

    send("0123456789");
    ASSERT_EQ(read_available_input(buffer, sizeof buffer, count), InputStatus::DATA);
    EXPECT_EQ(std::string(buffer, count), "01234567");
    ASSERT_EQ(read_available_input(buffer, sizeof buffer, count), InputStatus::DATA);
    EXPECT_EQ(std::string(buffer, count), "89");
    EXPECT_EQ(read_available_input(buffer, sizeof buffer, count), InputStatus::NONE);

    send("last");
    close_writer();
    ASSERT_EQ(read_available_input(buffer, sizeof buffer, count), InputStatus::DATA);
    EXPECT_EQ(read_available_input(buffer, sizeof buffer, count), InputStatus::END_OF_FILE);
    EXPECT_EQ(read_available_input(buffer, sizeof buffer, count), InputStatus::END_OF_FILE);
}

TEST_F(PipeInput, waiting_ends_with_input_or_with_the_time) {
    const double start = monotonic_seconds();
    wait_for_input(30);
    EXPECT_GE(monotonic_seconds() - start, 0.025);
    send("x");
    const double again = monotonic_seconds();
    wait_for_input(10000);
    EXPECT_LT(monotonic_seconds() - again, 5.0);
}
#endif
