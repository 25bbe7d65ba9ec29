// Writing games as training records, EPD lines and PGN, so that an interruption at any moment loses at most the game
// being written.
#include "training/selfplay/game_files.h"

#include "platform/file_ops.h"
#include "platform/file_path.h"
#include "training/files.h"
#include "training/selfplay/game_text.h"
#include "training/switches.h"

#include <cinttypes>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace {

constexpr const char* EXTENSIONS[] = {".bin", ".epd", ".pgn"};
enum : int { BIN, EPD, PGN };

}  // namespace

// The state is replaced as a whole, so that it is always that of one moment.
bool GameFiles::write_state() const {
    std::string text = "seed " + std::to_string(seed_) + "\ngames " + std::to_string(games_) + "\n";
    for (int format = 0; format < FORMATS; ++format) {
        if (known_[format]) text += std::string(EXTENSIONS[format] + 1) + ' ' + std::to_string(sizes_[format]) + '\n';
    }
    const std::string name = prefix_ + ".state";
    return write_file_atomically(name, {text});
}

// A missing state is that of an empty run.
bool GameFiles::read_state() {
    const std::string name = prefix_ + ".state";
    if (!file_exists(name.c_str())) return true;
    std::FILE* const file = open_file(name.c_str(), "rb");
    if (!file) return complain_of(name, "cannot be opened");
    bool has_games = false;
    char word[32];
    std::uint64_t number = 0;
    while (std::fscanf(file, "%31s %" SCNu64, word, &number) == 2) {
        if (std::strcmp(word, "games") == 0) {
            games_ = number;
            has_games = true;
        }
        for (int format = 0; format < FORMATS; ++format) {
            if (std::strcmp(word, EXTENSIONS[format] + 1) != 0) continue;
            sizes_[format] = number;
            known_[format] = true;
        }
    }
    const bool sound = has_games && std::feof(file) != 0;
    std::fclose(file);
    return sound ? true : complain_of(name, "is damaged");
}

bool GameFiles::open_format(int format) {
    const std::string name = prefix_ + EXTENSIONS[format];
    std::error_code error;
    std::uint64_t size = 0;
    if (file_exists(name.c_str())) {
        size = std::filesystem::file_size(file_path(name), error);
        if (error) return complain_of(name, "has no size");
    }
    if (size < sizes_[format])
        return complain_of(name, "is shorter than its .state file says; without both, a new run begins");
    if (size > sizes_[format]) {
        if (!known_[format]) return complain_of(name, "is there already and not of this run; choose another prefix");
        std::filesystem::resize_file(file_path(name), sizes_[format], error);
        if (error) return complain_of(name, "cannot be cut to its whole games");
    }
    known_[format] = true;
    return append_output(files_[format], name);
}

bool GameFiles::open(const std::string& prefix, const SelfplayOptions& options) {
    prefix_ = prefix;
    seed_ = options.seed;
    wanted_[BIN] = options.write_bin;
    wanted_[EPD] = options.write_epd;
    wanted_[PGN] = options.write_pgn;
    if (!read_state()) return false;
    for (int format = 0; format < FORMATS; ++format) {
        if (wanted_[format] && !open_format(format)) return false;
    }
    return write_state();
}

bool GameFiles::append(int format, std::string_view game) {
    put(files_[format], game);
    if (!flush_output(files_[format])) return false;
    sizes_[format] = files_[format].whole;
    return true;
}

bool GameFiles::write(const Game& game) {
    const std::string_view records(reinterpret_cast<const char*>(game.records.data()),
                                   game.records.size() * sizeof(TrainingRecord));
    if (wanted_[BIN] && !append(BIN, records)) return false;
    if (wanted_[EPD] && !append(EPD, game_as_epd(game))) return false;
    if (wanted_[PGN] && !append(PGN, game_as_pgn(game, games_ + 1))) return false;
    ++games_;
    return write_state();
}

void GameFiles::close() {
    for (OutputFile& file : files_) close_output(file);
}
