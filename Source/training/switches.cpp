// Reading a command line by its table.
#include "training/switches.h"

#include <charconv>
#include <cstdio>

namespace {

template <class Number>
bool read_all(std::string_view text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size();
}

std::string needs_number(const std::string& low, const std::string& high, std::string_view text) {
    return "needs a number from " + low + " to " + high + ", not " + std::string(text);
}

std::string short_text(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", number);
    return text;
}

const Switch* find_switch(std::span<const Switch> switches, std::string_view name) {
    for (const Switch& known : switches) {
        if (known.name && name == known.name) return &known;
    }
    return nullptr;
}

}  // namespace

bool read_whole(std::string_view text, std::uint64_t low, std::uint64_t high, std::uint64_t& number) {
    std::uint64_t value = 0;
    if (!read_all(text, value) || value < low || value > high) return false;
    number = value;
    return true;
}

SetValue number_in(std::uint64_t& field, std::uint64_t low, std::uint64_t high) {
    return [&field, low, high](std::string_view text) {
        if (read_whole(text, low, high, field)) return std::string();
        return needs_number(std::to_string(low), std::to_string(high), text);
    };
}

SetValue number_in(int& field, int low, int high) {
    return [&field, low, high](std::string_view text) {
        std::uint64_t value = 0;
        std::string fault = number_in(value, static_cast<std::uint64_t>(low), static_cast<std::uint64_t>(high))(text);
        if (fault.empty()) field = static_cast<int>(value);
        return fault;
    };
}

SetValue real_in(double& field, double low, double high) {
    return [&field, low, high](std::string_view text) {
        double value = 0;
        const bool good = read_all(text, value) && value >= low && value <= high;
        if (good) field = value;
        return good ? std::string() : needs_number(short_text(low), short_text(high), text);
    };
}

SetValue name_in(std::string& field, std::size_t longest) {
    return [&field, longest](std::string_view text) -> std::string {
        if (text.empty()) return "needs a name";
        if (text.size() > longest) return "name too long";
        field = text;
        return {};
    };
}

SetValue names_in(std::vector<std::string>& field) {
    return [&field](std::string_view text) {
        std::string name;
        std::string fault = name_in(name)(text);
        if (fault.empty()) field.push_back(name);
        return fault;
    };
}

SetValue flag_in(bool& field, bool value) {
    return [&field, value](std::string_view) {
        field = value;
        return std::string();
    };
}

SwitchesResult read_switches(int count, const char* const* arguments, std::span<const Switch> switches,
                             std::vector<std::string>& inputs) {
    const auto bad = [](std::string_view name, std::string_view fault) {
        complain_of(name, fault);
        return SwitchesResult::BAD;
    };
    for (int i = 1; i < count; ++i) {
        const std::string_view argument = arguments[i];
        if (argument == "--help" || argument == "-h") return SwitchesResult::HELP;
        if (!argument.starts_with("-")) {
            inputs.emplace_back(argument);
            continue;
        }
        const Switch* const known = find_switch(switches, argument);
        if (!known) return bad(argument, "unknown option; --help lists them");
        if (known->value_name && ++i == count) return bad(argument, "needs a value");
        const std::string fault = known->set(known->value_name ? arguments[i] : "");
        if (!fault.empty()) return bad(argument, fault);
    }
    return SwitchesResult::RUN;
}

void print_switches(const char* introduction, std::span<const Switch> switches) {
    std::printf("%s", introduction);
    for (const Switch& known : switches) {
        if (!known.name) {
            std::printf("%s\n", known.help);
            continue;
        }
        const std::string left = std::string(known.name) + ' ' + (known.value_name ? known.value_name : "");
        std::printf("  %-22s %s\n", left.c_str(), known.help);
    }
}

bool complain_of(std::string_view name, std::string_view fault) {
    std::fprintf(stderr, "%.*s: %.*s\n", static_cast<int>(name.size()), name.data(), static_cast<int>(fault.size()),
                 fault.data());
    return false;
}
