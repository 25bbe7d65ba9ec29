// What an action writes to standard output, and to the error stream.
#pragma once

#include <gtest/gtest.h>

#include <string>

template <class Action>
std::string printed(Action action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

template <class Action>
std::string errors(Action action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}
