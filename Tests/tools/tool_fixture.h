// Tools run in-process on files of a folder of their own, with their output captured.
#pragma once

#include "search/engine_fixture.h"
#include "temp_folder.h"

#include <string>

class ToolTest : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        folder_.enter();
    }

    std::string path(const std::string& name) const { return folder_.name(name); }
    std::string write(const std::string& name, const std::string& bytes) const { return folder_.write(name, bytes); }
    std::string read(const std::string& name) const { return folder_.read(name); }

    // What the action writes to standard output, and to the error stream.
    template <class Action>
    static std::string printed(Action action) {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }
    template <class Action>
    static std::string errors(Action action) {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }

    const TempFolder folder_;
};
