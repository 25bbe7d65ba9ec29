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

bool report(OutputFile& output, const char* what, const std::string& content = {}) {
    const char* const remark = content.empty() ? "" : ", see ";  // where the content is instead
    std::fprintf(stderr, "can't %s %s: %s%s%s\n", what, output.name.c_str(), std::strerror(errno), remark,
                 content.c_str());
    output.failed = true;
    return false;
}

bool hold(OutputFile& output, std::FILE* file) {
    output.file = file;
    if (!file) return report(output, "create");
    // The library's own buffer would cut items where it happens to be full.
    std::setvbuf(file, nullptr, _IONBF, 0);
    return true;
}

bool open_output(OutputFile& output, const std::string& name, const char* mode) {
    output = {};
    output.name = name;
    return hold(output, open_file(name.c_str(), mode));
}

bool open_beside(OutputFile& output, const std::string& name, const std::string& target) {
    const std::string fresh = target + FRESH_ENDING;
    std::FILE* const file = open_file(fresh.c_str(), "wb");
    // A folder that takes no new files may hold one that can be written.
    if (!file && errno == EACCES) return create_output(output, name);
    output = {};
    output.name = name;
    output.target = target;
    return hold(output, file);
}

bool end_replacement(OutputFile& output) {
    const std::string fresh = output.target + FRESH_ENDING;
    if (output.failed) {
        delete_file(fresh.c_str());
        return false;
    }
    return replace_file(fresh.c_str(), output.target.c_str()) || report(output, "replace", fresh);
}

}  // namespace

bool create_output(OutputFile& output, const std::string& name) {
    return open_output(output, name, "wb");
}

bool replace_output(OutputFile& output, const std::string& name) {
    std::error_code error;
    const std::filesystem::path file = std::filesystem::weakly_canonical(file_path(name), error);
    if (error) return create_output(output, name);  // which reports why
    const bool can_be_replaced =
        std::filesystem::is_regular_file(file, error) && OwnedFile(open_file(name.c_str(), "r+b")) != nullptr;
    // A link that leads to no file yet is written through as well.
    if (!can_be_replaced && std::filesystem::exists(std::filesystem::symlink_status(file, error))) {
        return create_output(output, name);
    }
    const std::filesystem::perms permissions = std::filesystem::status(file, error).permissions();
    const bool opened = open_beside(output, name, file_name(file));
    if (opened && can_be_replaced && !output.target.empty()) {
        std::filesystem::permissions(file_path(output.target + FRESH_ENDING), permissions, error);
    }
    return opened;
}

bool replace_name(OutputFile& output, const std::string& name) {
    std::error_code error;
    const bool is_folder = std::filesystem::is_directory(file_path(name), error);
    return is_folder ? create_output(output, name)  // which reports it
                     : open_beside(output, name, name);
}

bool append_output(OutputFile& output, const std::string& name) {
    if (!open_output(output, name, "ab")) return false;
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file_path(name), error);
    if (!error) output.whole = size;
    return true;
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
    return close_output(output) && hold(output, open_file(output.name.c_str(), "ab"));
}

bool close_output(OutputFile& output) {
    if (!output.file) return !output.failed;
    flush_output(output);
    errno = 0;
    if (std::fclose(output.file) != 0 && !output.failed) report(output, "write");
    output.file = nullptr;
    if (!output.target.empty()) return end_replacement(output);
    if (output.failed) truncate_file(output.name.c_str(), output.whole);  // a torn item would spoil the rest
    return !output.failed;
}

bool drop_output(OutputFile& output) {
    flush_output(output);
    output.failed = true;
    return close_output(output);
}
