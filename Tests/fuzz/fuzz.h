// What all fuzz targets share: the entry, which libFuzzer or the replay calls, and the checks.
#pragma once

#include "position/board.h"
#include "temp_folder.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

// Defines what is done with one input: FUZZ_TARGET(fen) { ... input ... }. An input that breaks something ends the
// process.
#define FUZZ_TARGET(name)                            \
    static void fuzz_##name(std::string_view input); \
    FUZZ_ENTRY(name)                                 \
    static void fuzz_##name(std::string_view input)

#if defined(TARN_LIBFUZZER)
#define FUZZ_ENTRY(name)                                                                \
    extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) { \
        fuzz_##name({reinterpret_cast<const char*>(data), size});                       \
        return 0;                                                                       \
    }
#else
#define FUZZ_ENTRY(name) static const bool registered = register_fuzz_target(#name, fuzz_##name);
bool register_fuzz_target(const char* name, void (*run)(std::string_view input));
#endif

#define FUZZ_CHECK(condition, what) \
    if (!(condition)) fuzz_failed(__FILE__, __LINE__, #condition, what)

[[noreturn]] inline void fuzz_failed(const char* file, int line, const char* condition, const std::string& what) {
    std::fprintf(stderr, "%s:%d: %s: %s\n", file, line, condition, what.c_str());
    std::abort();
}

// The folder that everything is written to, the current one from the first call on.
inline const TempFolder& fuzz_folder() {
    static const TempFolder folder;
    static const bool entered = (folder.enter(), true);
    (void)entered;
    return folder;
}

constexpr const char* EVALUATED_POSITIONS[] = {
    START_FEN,
    "r1bq1rk1/pp2bppp/2n1pn2/3p4/2PP4/1QN1PN2/P4PPP/R1B1KB1R w KQ -",
    "8/1P3k2/5p2/2p2P1p/p1P4P/2K3P1/8/4b2B w - -",
    "4r1k1/1q3p1p/6p1/3R4/8/5Q2/5PPP/6K1 b - -",
    "6k1/3P4/2N1p1q1/1p2Pp2/1P1n1Pp1/p5P1/P2p3P/3R2K1 b - -",
    "QQQQQQQ1/QQQQQQQQ/8/4K3/8/1k6/8/8 b - -",
};

inline void check_consistency(const Position& position) {
    FUZZ_CHECK(inconsistency(position).empty(), inconsistency(position) + " of " + position_to_fen(position, true));
}

inline bool is_legal_here(Position& position, Move move) {
    const std::vector<Move> moves = legal_moves(position);
    return std::find(moves.begin(), moves.end(), move) != moves.end();
}

// Takes the text up to the next separator off the front of the input.
inline std::string_view take_part(std::string_view& input, std::string_view separators = "\n") {
    const std::string_view part = input.substr(0, input.find_first_of(separators));
    input.remove_prefix(std::min(part.size() + 1, input.size()));
    return part;
}
