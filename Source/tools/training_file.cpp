// The record buffer and the reading of training files.
#include "tools/training_file.h"

#include "frontend/base/output.h"
#include "platform/file_ops.h"
#include "platform/file_reports.h"
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

void seed_generators() {
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    game_record->rand_state = static_cast<std::uint32_t>(std::rand()) * 12345u + 76543u;
}

// Reads what the buffer has room for; false after a failure, which has been reported.
bool read_records(const char* name, std::FILE* file, TrainingBuffer& buffer) {
    // Straight into the buffer: a block of the library's own would only be copied.
    std::setvbuf(file, nullptr, _IONBF, 0);
    Progress progress{"positions read"};
    const char* fault = nullptr;
    std::size_t left_over = 0;
    while (buffer.count < MAX_TRAINING_RECORDS && !interrupted()) {
        const std::size_t wanted = std::min(READ_RECORDS, MAX_TRAINING_RECORDS - buffer.count);
        if (!reserve_records(buffer, wanted)) {
            fault = "out of memory";
            break;
        }
        char* const target = reinterpret_cast<char*>(buffer.records + buffer.count);
        const std::size_t bytes = std::fread(target, 1, wanted * sizeof(TrainingRecord), file);
        buffer.count += bytes / sizeof(TrainingRecord);
        left_over = bytes % sizeof(TrainingRecord);
        if (bytes < wanted * sizeof(TrainingRecord)) break;
        show_progress(progress, buffer.count);
    }
    end_progress(progress);
    if (!fault && std::ferror(file)) fault = std::strerror(errno);
    if (!fault && interrupted()) fault = "interrupted";
    if (fault) {
        report_unreadable(name, fault);
    } else if (left_over != 0) {
        std::fprintf(stderr, "%s ends inside a record\n", name);
    }
    return !fault;
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
    // Growing by half keeps the copying linear; where that does not fit, what is needed may.
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

std::optional<int> read_training_file(const char* name, TrainingBuffer& buffer) {
    if (!allocate_training_buffer(buffer)) return 0;
    seed_generators();
    const bool named = std::strstr(name, ".bin");
    const OwnedFile file(named ? open_file(name, "rb") : nullptr);
    if (!file) {
        report_unreadable(name, named ? std::strerror(errno) : "a training file has .bin in its name");
        return 0;
    }
    if (is_device(name)) return report_unreadable(name, "a device holds no records");
    if (!read_records(name, file.get(), buffer)) return 1;
    print_raw("read %d positions from %s.\n\n", static_cast<int>(buffer.count), name);
    return std::nullopt;
}
