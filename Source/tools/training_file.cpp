// The record buffer and the reading of training files.
#include "tools/training_file.h"

#include "frontend/base/output.h"
#include "platform/file_ops.h"
#include "platform/interrupts.h"
#include "search/search_thread.h"
#include "tools/progress.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

constexpr std::size_t FIRST_RECORDS = 16384;
constexpr std::size_t READ_RECORDS = 65536;

void report(const char* name, const char* why) {
    std::fprintf(stderr, "can't read %s: %s\n", name, why);
}

void seed_generators() {
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    game_record->rand_state = static_cast<std::uint32_t>(std::rand()) * 12345u + 76543u;
}

// Reads what the buffer has room for; false after a failure, which has been reported.
bool read_records(const char* name, std::FILE* file, TrainingBuffer& buffer) {
    // Straight into the buffer: a block of the library's own would only be copied.
    std::setvbuf(file, nullptr, _IONBF, 0);
    Progress progress{"positions read"};
    std::size_t left_over = 0;
    while (buffer.count < MAX_TRAINING_RECORDS && !interrupted()) {
        const std::size_t wanted = std::min(READ_RECORDS, MAX_TRAINING_RECORDS - buffer.count);
        if (!reserve_records(buffer, wanted)) {
            end_progress(progress);
            report(name, "out of memory");
            return false;
        }
        char* const target = reinterpret_cast<char*>(buffer.records + buffer.count);
        const std::size_t bytes = std::fread(target, 1, wanted * sizeof(TrainingRecord), file);
        buffer.count += bytes / sizeof(TrainingRecord);
        left_over = bytes % sizeof(TrainingRecord);
        if (bytes < wanted * sizeof(TrainingRecord)) break;
        show_progress(progress, buffer.count);
    }
    end_progress(progress);
    if (std::ferror(file)) {
        report(name, std::strerror(errno));
        return false;
    }
    if (interrupted()) {
        report(name, "interrupted");
        return false;
    }
    if (left_over != 0) std::fprintf(stderr, "%s ends inside a record\n", name);
    return true;
}

}  // namespace

TrainingBuffer::~TrainingBuffer() {
    std::free(records);
}

bool allocate_training_buffer(TrainingBuffer& buffer) {
    buffer.count = 0;
    if (!reserve_records(buffer, FIRST_RECORDS)) {
        std::fprintf(stderr, "no memory for training data\n");
        return false;
    }
    print_raw("allocated %.0f Mbytes for training data.\n", TRAINING_BUFFER_MBYTES);
    return true;
}

bool reserve_records(TrainingBuffer& buffer, std::size_t more) {
    const std::size_t needed = buffer.count + more;
    if (needed <= buffer.capacity) return true;
    // Half as much again keeps the copying linear; when that is too much, what is needed may still be had.
    for (const std::size_t capacity : {std::max(needed, buffer.capacity + buffer.capacity / 2), needed}) {
        void* const memory = std::realloc(buffer.records, capacity * sizeof(TrainingRecord));
        if (!memory) continue;
        buffer.records = static_cast<TrainingRecord*>(memory);
        buffer.capacity = capacity;
        return true;
    }
    return false;
}

bool append_record(TrainingBuffer& buffer, const TrainingRecord& record) {
    if (buffer.count >= MAX_TRAINING_RECORDS || !reserve_records(buffer, 1)) return false;
    buffer.records[buffer.count++] = record;
    return true;
}

int exit_status(TrainingRead read) {
    return read == TrainingRead::BROKEN_OFF ? 1 : 0;
}

TrainingRead read_training_file(const char* name, TrainingBuffer& buffer) {
    if (!allocate_training_buffer(buffer)) return TrainingRead::NO_FILE;
    seed_generators();
    const bool named = std::strstr(name, ".bin");
    std::FILE* const file = named ? open_file(name, "rb") : nullptr;
    if (!file) {
        report(name, named ? std::strerror(errno) : "a training file has .bin in its name");
        return TrainingRead::NO_FILE;
    }
    const bool read = read_records(name, file, buffer);
    std::fclose(file);
    if (!read) return TrainingRead::BROKEN_OFF;
    print_raw("read %d positions from %s.\n\n", static_cast<int>(buffer.count), name);
    return TrainingRead::COMPLETE;
}
