// The command lines of the laboratory's programs: a program lists its switches in one table, which reading and --help
// both walk.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Stores the value of a switch. Returns what the switch needs ("needs a number"), or an empty text when it was stored.
using SetValue = std::function<std::string(std::string_view value)>;

struct Switch {
    const char* name;        // nullptr: `help` is a heading of the list
    const char* value_name;  // as --help shows it; nullptr: the switch has no value
    const char* help;
    SetValue set = {};
};

constexpr std::size_t LONGEST_NAME = 140;  // of a file, where the engine's settings keep it
constexpr std::size_t LONGEST_PATH = 4000;

// Values that go straight into a field. Numbers must be whole decimal numbers within low..high, names not empty.
SetValue number_in(std::uint64_t& field, std::uint64_t low, std::uint64_t high);
SetValue number_in(int& field, int low, int high);
SetValue real_in(double& field, double low, double high);
SetValue name_in(std::string& field, std::size_t longest = LONGEST_PATH);
SetValue names_in(std::vector<std::string>& field);  // each use of the switch adds one
SetValue flag_in(bool& field, bool value);

// A whole decimal number within low..high; false for anything else.
bool read_whole(std::string_view text, std::uint64_t low, std::uint64_t high, std::uint64_t& number);

enum class SwitchesResult { RUN, HELP, BAD };

// Reads the command line; what is no switch goes to `inputs`. HELP as soon as --help or -h comes. BAD: one line went to
// the error stream.
SwitchesResult read_switches(int count, const char* const* arguments, std::span<const Switch> switches,
                             std::vector<std::string>& inputs);

// Prints the introduction and the list of switches to standard output.
void print_switches(const char* introduction, std::span<const Switch> switches);

// Writes "NAME: FAULT" to the error stream, and returns false.
bool complain_of(std::string_view name, std::string_view fault);
