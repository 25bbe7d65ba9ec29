// Mutated commands and positions, and a very long game: whatever arrives, the game on the board stays
// consistent and a search answers with a legal move or none. TARN_FUZZ_TRIALS sets the number of trials.
#include "engine_fixture.h"

#include "frontend/console.h"
#include "frontend/input.h"
#include "mutation.h"
#include "position/board.h"
#include "search/parallel.h"

#include <map>
#include <regex>
#include <sstream>

namespace {

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, separator);) parts.push_back(part);
    return parts;
}

const std::vector<std::string> WORDS = split(
    "value name moves fen startpos -1 0 nan -inf -2147483648 depth nodes ponder infinite e1g1 a7a8q 0000 @ \t %s%n = "
    "\xFF \r KQkq w - / 9 # K 99999999999999999999 8/8/8/8/8/8/8/8 xxxxxxxxxxxxxxxxxxxx",
    ' ');

// A network that is not there ends the program, as it should; the table's size is the machine's affair; the editor
// waits for standard input, and a deep count takes its time.
const std::regex LEFT_OUT("NN_File|Hash|edit|perft");

}  // namespace

struct WildInput : Engine {
    // Searches what was asked for, shallowly, and makes the engine idle again.
    static void answer_request() {
        if (search_control.think_flags) {
            settings.depth_limit = std::min<std::int8_t>(settings.depth_limit, 2);
            settings.limit_strength = 0;
            settings.multipv = settings.threads = 1;
            settings.noise = SILENT;
            analysis_search();
            const Move best = search_control.best_line[1];
            EXPECT_TRUE(best == NULL_MOVE || check_hash_move(game_record->position, best) == 0) << best;
        }
        search_control.think_flags = 0;
        search_control.stop = 0;
        search_control.play_move = search_control.self_play = false;
        settings.quit = 0;
    }

    // Mutates commands, separated by bars, lines known to be bad and positions, breaks each at its separators and
    // handles what comes out.
    template <class Handle>
    static void feed(const char* commands, const char* bad_lines, const std::string& set_up, Handle handle) {
        std::vector<std::string> lines = split(commands, '|');
        std::ranges::copy(read_lines(data_file(bad_lines)), std::back_inserter(lines));
        for (const char* file : {"badinput/fen.txt", "perft/standard.epd", "perft/chess960.epd"}) {
            for (const std::string& line : read_lines(data_file(file))) {
                lines.push_back(set_up + line.substr(0, line.find(" ;")));
            }
        }
        std::mt19937 random(11);
        const char* const trials = std::getenv("TARN_FUZZ_TRIALS");
        for (int i = trials ? std::atoi(trials) : 1500; i > 0; --i) {
            std::string text = lines[random() % lines.size()];
            const std::string word = ' ' + WORDS[random() % WORDS.size()] + ' ';
            if (random() % 2) text.insert(random() % (text.size() + 1), word);
            if (random() % 2) text = mutated(text, random);
            if (std::regex_search(text, LEFT_OUT)) continue;
            LineBuffer buffer;
            append_input(buffer, text.data(), text.size());
            int too_long = 0;
            printed([&] {
                for (std::string line; take_line(buffer, true, line, too_long);) {
                    handle(line);
                    answer_request();
                }
            });
            ASSERT_EQ(inconsistency(game_record->position), "") << text;
            ASSERT_LE(game_record->game.game_ply, MAX_GAME_MOVES) << text;
        }
    }
};

TEST_F(WildInput, uci_lines) {
    feed(
        "position startpos moves e2e4 e7e5 g1f3 b8c6|go depth 2|go nodes 100 wtime 1 winc 3|go movetime 1|go ponder|"
        "go infinite|setoption name MultiPV value 3|setoption name Contempt value 20|ucinewgame|isready|stop|"
        "setoption name UCI_Elo value 1600|setoption name OwnBook_File value book.bin|ponderhit|debug on|uci|"
        "setoption name UCI_Opponent value GM 2 c X|setoption name UCI_Chess960 value true",
        "badinput/uci.txt", "position fen ", [](const std::string& line) {
            settings.uci_mode = 1;
            uci_command(line);
        });
}

TEST_F(WildInput, console_lines) {
    write("test.epd", "4k3/8/8/8/8/8/4P3/4K3 w - - bm e4; id \"x\";\n");
    feed(
        "e2e4|Nf3|undo|]|[|jump 3|ev|ev2|sp|lmr|pv|swap|bd|reverse|go 2|mv|book|save|get x|move e4|O-O|set ss 0|"
        "set ss 1|set hash 2|set debug 1|set noise 0|set nodes 50|set level 40 5:00 1|set NMP_depth -7|"
        "set FP_depth 40|set SEP_depth -4|set LMP_depth 2000|set LMR_depth -30000|set contempt 32767|"
        "set Selectivity -100",
        "badinput/console.txt", "fen ", [](const std::string& line) { console_command(line); });
}

// Knights and rooks go back and forth at random, with a pawn move or capture once in 150 plies. The game is sent as an
// interface sends it, all its moves anew with every one made; positions are counted here by their FENs.
TEST_F(WildInput, two_thousand_plies_move_by_move) {
    std::mt19937 random(19);
    Board board;
    Position& position = board.position;
    std::map<std::string, int> seen{{board.fen(), 1}};  // since the last capture or pawn move
    std::string command = "position startpos moves";
    Move back[2] = {};
    int repetitions = 0;
    for (int ply = 1; ply <= 2000; ++ply) {
        const std::vector<Move> moves = board.legal();
        ASSERT_FALSE(moves.empty()) << ply;
        Move chosen;
        for (int tries = 0; tries < 200; ++tries) {
            chosen = moves[random() % moves.size()];
            const int type = type_of(position.board[move_from(chosen)]);
            const bool shuffles = !position.board[move_to(chosen)] && (type == KNIGHT || type == ROOK);
            if (shuffles == (ply % 150 != 0) && (tries > 100 || chosen == back[position.side])) break;
        }
        back[position.side] = random() % 4 ? make_move_word(move_to(chosen), move_from(chosen)) : NULL_MOVE;
        command += ' ' + move_to_text(position, position.side, chosen);
        make_move(position, chosen);
        const int rule50 = position.rule50;
        set_position(position, board.fen(true));  // the reference keeps no history
        if (rule50 == 0) seen.clear();
        const bool repeats = ++seen[board.fen()] >= 3 && rule50 > 3;

        uci_command(command);
        ASSERT_EQ(fen(), board.fen()) << ply;
        ASSERT_EQ(is_draw(game_record->position, 0), rule50 >= 100 || repeats) << ply;
        repetitions += repeats && rule50 < 100;
    }
    EXPECT_GT(repetitions, 100);
}
