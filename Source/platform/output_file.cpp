// Output in large writes that end where an item ends.
#include "platform/output_file.h"

#include "platform/file_ops.h"
#include "platform/file_path.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace {

constexpr std::size_t WRITE_BYTES = 1 << 16;

bool report(OutputFile& output, const char* what) {
    std::fprintf(stderr, "can't %s %s: %s\n", what, output.name.c_str(), std::strerror(errno));
    output.failed = true;
    return false;
}

bool open_output(OutputFile& output, const char* mode) {
    output.file = open_file(output.name.c_str(), mode);
    if (!output.file) return report(output, "create");
    // The library's own buffer would cut items where it happens to be full.
    std::setvbuf(output.file, nullptr, _IONBF, 0);
    return true;
}

}  // namespace

bool create_output(OutputFile& output, const std::string& name) {
    output = {};
    output.name = name;
    return open_output(output, "wb");
}

bool append_output(OutputFile& output, const std::string& name) {
    output = {};
    output.name = name;
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file_path(name), error);
    if (!error) output.whole = size;
    return open_output(output, "ab");
}

bool put(OutputFile& output, std::string_view item) {
    output.pending += item;
    return output.pending.size() < WRITE_BYTES ? !output.failed : flush_output(output);
}

bool flush_output(OutputFile& output) {
    const std::size_t size = output.pending.size();
    if (!output.failed && size != 0) {
        errno = 0;
        if (std::fwrite(output.pending.data(), 1, size, output.file) == size) {
            output.whole += size;
        } else {
            report(output, "write");
        }
    }
    output.pending.clear();
    return !output.failed;
}

bool reopen_output(OutputFile& output) {
    return close_output(output) && open_output(output, "ab");
}

bool close_output(OutputFile& output) {
    if (!output.file) return !output.failed;
    flush_output(output);
    errno = 0;
    if (std::fclose(output.file) != 0 && !output.failed) report(output, "write");
    output.file = nullptr;
    if (output.failed) truncate_file(output.name.c_str(), output.whole);  // a torn item would spoil the rest
    return !output.failed;
}
