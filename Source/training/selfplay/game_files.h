// The files of a run: whole games only, and a state file that says how far each of them is valid.
#pragma once

#include "platform/output_file.h"
#include "training/selfplay/game.h"
#include "training/selfplay/options.h"

#include <cstdint>
#include <string>
#include <string_view>

class GameFiles {
public:
    GameFiles() = default;
    GameFiles(const GameFiles&) = delete;
    GameFiles& operator=(const GameFiles&) = delete;
    ~GameFiles() { close(); }

    // Opens the files of the wanted formats for appending, after cutting them to what the state file vouches for.
    // False, with a message on the error stream, when that cannot be done or would harm a file that is no part of an
    // earlier run.
    bool open(const std::string& prefix, const SelfplayOptions& options);

    // Games played under this prefix so far.
    std::uint64_t games() const { return games_; }

    // Appends a game to every file, hands it to the system and then moves the state on. False, with a message, when a
    // write fails; what was written of the game is cut off, at the latest when the run is continued.
    bool write(const Game& game);

    void close();

private:
    static constexpr int FORMATS = 3;  // bin, epd, pgn
    bool read_state();
    bool write_state() const;
    bool open_format(int format);
    bool append(int format, std::string_view game);

    std::string prefix_;
    OutputFile files_[FORMATS];
    bool wanted_[FORMATS] = {};
    bool known_[FORMATS] = {};           // files of this prefix, in this run or an earlier one
    std::uint64_t sizes_[FORMATS] = {};  // bytes that belong to whole games
    std::uint64_t games_ = 0;
    std::uint64_t seed_ = 0;
};
