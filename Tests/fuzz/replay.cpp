// Runs every fuzz target over its corpus and over every input that once broke it: fuzz_replay FOLDER [TARGET].
#include "fuzz/fuzz.h"

#include <map>

namespace {

using Run = void (*)(std::string_view);

std::map<std::string, Run>& targets() {
    static std::map<std::string, Run> all;
    return all;
}

int replay(const std::filesystem::path& folder, Run run) {
    int inputs = 0;
    std::error_code missing;
    for (const auto& file : std::filesystem::directory_iterator(folder, missing)) {
        std::fprintf(stderr, "%s\n", file.path().c_str());  // the last one named is the one that broke it
        std::ifstream in(file.path(), std::ios::binary);
        const std::string input{std::istreambuf_iterator<char>(in), {}};
        run(input);
        ++inputs;
    }
    return inputs;
}

}  // namespace

bool register_fuzz_target(const char* name, Run run) {
    return targets().emplace(name, run).second;
}

int main(int count, char** arguments) {
    if (count < 2 || !std::freopen("/dev/null", "w", stdout)) return 2;
    const std::filesystem::path folder = std::filesystem::absolute(arguments[1]);
    for (const auto& [name, run] : targets()) {
        if (count > 2 && name != arguments[2]) continue;
        const int inputs = replay(folder / "corpus" / name, run);
        if (inputs == 0) {
            std::fprintf(stderr, "no corpus for %s\n", name.c_str());
            return 1;
        }
        replay(folder / "regress" / name, run);
    }
    return 0;
}
