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

    std::string write(const std::string& name, const std::string& bytes) const { return folder_.write(name, bytes); }
    std::string read(const std::string& name) const { return folder_.read(name); }

    const TempFolder folder_;
};
