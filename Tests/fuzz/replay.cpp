// Runs every fuzz target over its corpus, over damaged versions of it, the same ones in every run, and over every input
// that once broke it: fuzz_replay FOLDER [TARGET]. TARN_FUZZ_TRIALS sets the number of damaged versions of each.
#include "fuzz/fuzz.h"
#include "mutation.h"

#include <map>

namespace {

using Run = void (*)(std::string_view);

std::map<std::string, Run>& targets() {
    static std::map<std::string, Run> all;
    return all;
}

int replay(const std::filesystem::path& folder, int trials, Run run) {
    int inputs = 0;
    std::error_code missing;
    for (const auto& file : std::filesystem::directory_iterator(folder, missing)) {
        std::fprintf(stderr, "%s\n", file.path().c_str());  // the last one named is the one that broke it
        std::ifstream in(file.path(), std::ios::binary);
        const std::string input{std::istreambuf_iterator<char>(in), {}};
        run(input);
        std::mt19937 random(11);
        for (int i = 0; i < trials; ++i) {
            std::fprintf(stderr, "damaged version %d\n", i);
            run(mutated(input, random));
        }
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
    const char* const trials = std::getenv("TARN_FUZZ_TRIALS");
    for (const auto& [name, run] : targets()) {
        if (count > 2 && name != arguments[2]) continue;
        const int inputs = replay(folder / "corpus" / name, trials ? std::atoi(trials) : 100, run);
        if (inputs == 0) {
            std::fprintf(stderr, "no corpus for %s\n", name.c_str());
            return 1;
        }
        replay(folder / "regress" / name, 0, run);
    }
    return 0;
}
