// The laboratory's command lines: what reaches the fields, what is refused and in which words.
#include "training/switches.h"

#include "captured.h"

#include <utility>

namespace {

struct Fields {
    std::uint64_t games = 7;
    int share = 7;
    double pull = 7;
    std::string name = "before";
    std::vector<std::string> files;
    bool fast = false;
    std::vector<std::string> inputs;
};

SwitchesResult read(Fields& f, std::vector<const char*> words) {
    const Switch switches[] = {
        {nullptr, nullptr, "A heading."},
        {"--games", "N", "", number_in(f.games, 0, UINT64_MAX)},
        {"--share", "N", "", number_in(f.share, 1, 100)},
        {"--pull", "X", "", real_in(f.pull, 0, 50)},
        {"--name", "FILE", "", name_in(f.name, 5)},
        {"--file", "FILE", "", names_in(f.files)},
        {"--fast", nullptr, "", flag_in(f.fast, true)},
    };
    words.insert(words.begin(), "program");
    return read_switches(static_cast<int>(words.size()), words.data(), switches, f.inputs);
}

TEST(Switches, values_reach_their_fields_and_other_words_the_inputs) {
    Fields f;
    EXPECT_EQ(read(f, {"one", "--games", "18446744073709551615", "--share", "100", "--pull", "2.5", "two", "--name",
                       "-x", "--file", "a", "--fast", "--file", "b"}),
              SwitchesResult::RUN);
    EXPECT_TRUE(f.games == UINT64_MAX && f.share == 100 && f.pull == 2.5 && f.name == "-x" && f.fast);
    EXPECT_EQ(f.files, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(f.inputs, (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(read(f, {"--share", "5", "-h", "--shar"}), SwitchesResult::HELP);
}

TEST(Switches, bad_words_are_refused_in_one_line_and_change_nothing) {
    const std::pair<std::vector<const char*>, const char*> rows[] = {
        {{"--games", "18446744073709551616"}, "--games: needs a number from 0 to 18446744073709551615, not 184467"},
        {{"--share", "0"}, "--share: needs a number from 1 to 100, not 0\n"},
        {{"--share", "5x"}, "--share: needs a number from 1 to 100, not 5x\n"},
        {{"--pull", "nan"}, "--pull: needs a number from 0 to 50, not nan\n"},
        {{"--name", "123456"}, "--name: name too long\n"},
        {{"--file", ""}, "--file: needs a name\n"},
        {{"--fast", "--share"}, "--share: needs a value\n"},
        {{"--shar", "5"}, "--shar: unknown option; --help lists them\n"},
    };
    for (const auto& [words, line] : rows) {
        Fields f;
        const std::string said = errors([&] { EXPECT_EQ(read(f, words), SwitchesResult::BAD) << line; });
        EXPECT_TRUE(said.starts_with(line) && said.ends_with('\n')) << said;
        EXPECT_TRUE(f.games == 7 && f.share == 7 && f.pull == 7 && f.name == "before" && f.files.empty()) << line;
    }
}

}  // namespace
