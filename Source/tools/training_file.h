// Whole training files in memory, for the tools of the command line.
#pragma once

#include "tools/training_record.h"

#include <cstddef>
#include <optional>

// What a file may hold at most; what is beyond is not read and not stored.
constexpr std::size_t MAX_TRAINING_RECORDS = 449'999'999;
// The megabytes that this many records take, as the tools announce them.
constexpr double TRAINING_BUFFER_MBYTES = 18000;

// Records in order, in memory that grows with them.
struct TrainingBuffer {
    TrainingRecord* records = nullptr;  // owned
    std::size_t count = 0;
    std::size_t capacity = 0;

    TrainingBuffer() = default;
    ~TrainingBuffer();
    TrainingBuffer(const TrainingBuffer&) = delete;
    TrainingBuffer& operator=(const TrainingBuffer&) = delete;
};

// Gives the buffer its first memory and prints the line that announces it; false when there is none.
bool allocate_training_buffer(TrainingBuffer& buffer);
// Makes room for `more` records; false, with what is stored untouched, when there is not enough memory.
bool reserve_records(TrainingBuffer& buffer, std::size_t more);
// False when the buffer is full or there is not enough memory.
bool append_record(TrainingBuffer& buffer, const TrainingRecord& record);

// Reads a file whose name contains ".bin" and prints what it read, or one line on the error stream; also seeds the
// random generators from the wall clock, for users that draw from the records. Nothing when the file was read to its
// end, else the exit status of the tool: 0 without a file or any memory, 1 when a read failed, memory ran out or an
// interrupt came.
std::optional<int> read_training_file(const char* name, TrainingBuffer& buffer);
