// The whole engine for the targets that send it commands: brought up once, as after start-up for every input.
#pragma once

#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "frontend/input.h"
#include "frontend/uci.h"
#include "fuzz/fuzz.h"
#include "platform/words.h"
#include "search/engine.h"
#include "search/game_stack.h"
#include "search/hash_table.h"
#include "search/search_thread.h"
#include "search/time_manager.h"

#include <unistd.h>

#include <random>

constexpr int SMALL_HASH_MB = 1;
constexpr std::size_t LONGEST_SESSION = 16384;  // bytes; fits into a pipe

// A network of the smallest kind: searches take a tenth of the time that they take with the built-in one.
inline std::string small_network() {
    constexpr std::int16_t HIDDEN = 8;
    std::int16_t values[12 + (768 + 18) * HIDDEN] = {752, 2048, 2048, 400, 1, 5, HIDDEN, 0, 0, 5};
    std::mt19937 random(1);
    for (std::size_t i = 12; i < std::size(values); ++i) values[i] = static_cast<std::int16_t>(random() % 512) - 256;
    return {reinterpret_cast<const char*>(values), sizeof values};
}

// Files that commands can name, and none that earlier inputs left.
inline void fill_folder() {
    const TempFolder& folder = fuzz_folder();
    for (const auto& file : std::filesystem::directory_iterator(folder.path)) std::filesystem::remove(file);
    folder.write("test.epd", "4k3/8/8/8/8/8/4P3/4K3 w - - bm e4; id \"x\";\n");
    folder.write("game.pgn", "[Event \"Open\"]\n[Result \"1-0\"]\n\n1. e4 {+0.35/14 1.2s} e5 2. Nf3 Nc6 1-0\n");
    std::filesystem::copy_file(data_file("polyglot/performance-part.bin"), folder.name("book.bin"));
}

// What searches left behind goes.
inline void renew_threads() {
    std::srand(1);
    free_search_threads();
    game_record = create_search_thread(GAME_RECORD_INDEX);
    search_threads[0] = create_search_thread(0);
    FUZZ_CHECK(game_record && search_threads[0], "memory");
    hash_clear();
}

// The state after start-up, whatever the input before did.
inline void reset_engine() {
    static const BringUp start = [] {
        copy_text(settings.nn_file, fuzz_folder().write("small.nn", small_network()));
        return bring_up({.hash_mb = SMALL_HASH_MB, .network = true});
    }();
    FUZZ_CHECK(start == BringUp::READY, "start");
    close_log();
    if (search_control.start_time != 0) renew_threads();
    const bool other_size = settings.hash_mb != SMALL_HASH_MB;
    settings = Settings{};
    settings.hash_mb = SMALL_HASH_MB;
    settings.level_time = 1;
    settings.noise = SILENT;
    copy_text(settings.book_file, "book.bin");
    default_settings = settings;
    FUZZ_CHECK(!other_size || hash_allocate(), "memory");
    std::construct_at(&search_control);
    init_game_state(game_record->game, game_record->position);
    uci_command("position startpos");
}

// False for a line that would reach files outside the folder, take long or much memory, or, as a missing network does,
// end the program.
inline bool is_harmless(std::string_view line) {
    const auto has = [line](std::string_view part) { return contains(line, part); };
    if (has("NN_File")) return false;
    if (has("Hash") && std::ranges::count_if(line, [](char c) { return c >= '0' && c <= '9'; }) > 1) return false;
    if ((has("File") || has("Path") || has("load") || has("save")) && line.find_first_of("/:;") != line.npos)
        return false;
    std::string_view words = line;
    return next_word(words) != "perft" || read_int(next_word(words), 1, 9) <= 2;
}

// What was asked for is searched on this thread, shallowly, and the engine is idle again.
inline void answer_request() {
    if (search_control.think_flags) {
        settings.depth_limit = std::min<std::int8_t>(settings.depth_limit, 2);
        settings.node_limit = std::min<std::uint64_t>(settings.node_limit - 1, 1999) + 1;  // 0: none
        settings.multipv = std::min<std::uint8_t>(settings.multipv, 3);
        settings.limit_strength = 0;
        settings.threads = 1;
        settings.noise = SILENT;
        analysis_search();
        const Move best = search_control.best_line[1];
        FUZZ_CHECK(best == NULL_MOVE || is_legal_here(game_record->position, best),
                   position_to_fen(game_record->position, true));
    }
    search_control.think_flags = 0;
    search_control.search_move_count = 0;
    search_control.stop = 0;
    search_control.play_move = search_control.self_play = false;
    settings.quit = 0;
}

// Sends the lines through standard input, as an interface does.
inline void send_lines(std::string_view input) {
    static const int pipe_entry = [] {
        int ends[2];
        FUZZ_CHECK(pipe(ends) == 0 && dup2(ends[0], STDIN_FILENO) == STDIN_FILENO, "pipe");
        return ends[1];
    }();
    if (input.size() > LONGEST_SESSION) return;
    static bool may_have_written = true;
    if (may_have_written) fill_folder();
    may_have_written = contains(input, "save") || contains(input, "Log");
    std::string lines;
    while (!input.empty()) {
        const std::string_view line = take_part(input, std::string_view("\n\r@\0", 4));
        if (is_harmless(line)) lines.append(line) += '\n';
    }
    lines += ".\n";  // ends an editor that still waits
    FUZZ_CHECK(write(pipe_entry, lines.data(), lines.size()) == static_cast<ssize_t>(lines.size()), "pipe");
    while (poll_input() == InputState::HANDLED) {
        answer_request();
        check_consistency(game_record->position);
        FUZZ_CHECK(game_record->game.game_ply <= MAX_GAME_MOVES,
                   "game of " + std::to_string(game_record->game.game_ply));
    }
}
