// Reads training records in large pieces, and replaces files.
#include "training/files.h"

#include "platform/file_ops.h"
#include "platform/file_path.h"
#include "platform/output_file.h"
#include "training/switches.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace {

constexpr std::size_t PIECE = 1 << 16;  // records

}  // namespace

std::size_t room_to_read(const std::string& name) {
    std::error_code error;
    const auto bytes = std::filesystem::file_size(file_path(name), error);
    return PIECE + (error ? 0 : static_cast<std::size_t>(bytes / sizeof(TrainingRecord)));
}

std::string read_record_file(const std::string& name, std::size_t limit, std::vector<TrainingRecord>& records) {
    if (is_device(name.c_str())) return "is a device, which holds no records";
    std::FILE* const file = open_file(name.c_str(), "rb");
    if (!file) return "cannot be opened";
    records.reserve(std::min(limit, records.size() + room_to_read(name)));
    std::size_t left_over = 0;
    for (bool more = true; more && records.size() < limit;) {
        const std::size_t before = records.size();
        records.resize(std::min(before + PIECE, limit));
        const std::size_t wanted = (records.size() - before) * sizeof(TrainingRecord);
        const std::size_t got = std::fread(&records[before], 1, wanted, file);
        records.resize(before + got / sizeof(TrainingRecord));
        left_over = got % sizeof(TrainingRecord);
        more = got == wanted;
    }
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed) return "cannot be read";
    if (left_over != 0) complain_of(name, "ends within a record, which is left out");
    return {};
}

bool write_file_atomically(const std::string& name, std::initializer_list<std::string_view> parts) {
    OutputFile file;
    if (!replace_output(file, name)) return false;
    for (const std::string_view part : parts) put(file, part);
    return close_output(file);
}
